#include "app/basic_export_sheet.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <QSpinBox>

#include "app_fixture.h"
#include "media/support/frame_runs.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

// Opens the 3 s, 30 fps test movie and its export sheet.
class BasicExportTest : public AppTest {
 protected:
  BasicExportSheet* openSheet() {
    if (!document) document = open("h264-aac-mp4");
    menu(*document, Command::Export);
    auto* sheet = windowOf(*document).window()->findChild<BasicExportSheet*>();
    EXPECT_NE(sheet, nullptr);
    return sheet;
  }

  std::shared_ptr<Document> document;
};

TEST_F(BasicExportTest, ExportsTheEditedMovieAtTheChosenSize) {
  document = open("h264-aac-mp4");
  viewOf(*document).timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  menu(*document, Command::Delete);
  exportDestination = testmedia::testMediaDirectory() + "/export.mp4";
  BasicExportSheet* sheet = openSheet();
  ASSERT_NE(sheet, nullptr);
  EXPECT_GT(sheet->values().width, 0);
  sheet->widthField()->setValue(160);
  sheet->heightField()->setValue(120);
  sheet->accept();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !exportOutcomes.empty(); }, 60'000));
  EXPECT_TRUE(exportOutcomes[0]);
  EXPECT_TRUE(alerts.empty());

  // Frames 0–29 and 60–89 of the source, decoded from the file.
  EXPECT_EQ(testmedia::readFrameIndices(*exportDestination),
            testsupport::frameRuns({{0, 30}, {60, 90}}));
  const auto frames = testmedia::readVideoFrames(*exportDestination);
  EXPECT_EQ(frames.at(0).width, 160);
  EXPECT_EQ(frames.at(0).height, 120);
}

TEST_F(BasicExportTest, CancellingTheSheetOrTheDestinationWritesNothing) {
  exportDestination = testmedia::testMediaDirectory() + "/never.mp4";
  BasicExportSheet* sheet = openSheet();
  ASSERT_NE(sheet, nullptr);
  sheet->reject();
  exportDestination.reset();
  QTest::qWait(20);
  sheet = openSheet();
  ASSERT_NE(sheet, nullptr);
  sheet->accept();
  QTest::qWait(50);
  EXPECT_TRUE(exportOutcomes.empty());
  EXPECT_TRUE(alerts.empty());
  EXPECT_FALSE(std::filesystem::exists(testmedia::testMediaDirectory() + "/never.mp4"));
}

TEST_F(BasicExportTest, AnUnwritableDestinationEndsInTheAlert) {
  exportDestination = "/nonexistent-folder/out.mp4";
  BasicExportSheet* sheet = openSheet();
  ASSERT_NE(sheet, nullptr);
  sheet->accept();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !alerts.empty(); }, 60'000));
  EXPECT_FALSE(alerts[0].description.empty());
  EXPECT_FALSE(std::filesystem::exists("/nonexistent-folder/out.mp4"));
}

}  // namespace
}  // namespace reelcraft
