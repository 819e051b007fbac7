#include "app/basic_export_sheet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <numeric>

#include <QSpinBox>

#include "app_fixture.h"
#include "mediagen/media_reader.h"

namespace reelcraft {
namespace {

class BasicExportTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    // The fixture's delegate is remade with the export answered by the test.
    app.reset();
    AppDelegate::Options options;
    options.audioSinkFactory = [] { return nullptr; };
    options.chooseExportDestination = [this](QWidget*) { return exportDestination; };
    options.exportFinished = [this](bool succeeded) { outcomes.push_back(succeeded); };
    app = std::make_unique<AppDelegate>(options);
  }
  BasicExportSheet* sheetOf(const Document& document) {
    return windowOf(document).window()->findChild<BasicExportSheet*>();
  }

  std::optional<std::string> exportDestination;
  std::vector<bool> outcomes;
};

TEST_F(BasicExportTest, ExportsTheEditedMovieAtTheChosenSize) {
  const auto document = open("h264-aac-mp4");
  viewOf(*document).timeline()->setSelections({{secondsTime(1), secondsTime(1)}});
  menu(*document, Command::Delete);
  const auto destination = std::filesystem::path(testmedia::testMediaDirectory()) / "export.mp4";
  exportDestination = destination.string();

  menu(*document, Command::Export);
  BasicExportSheet* sheet = sheetOf(*document);
  ASSERT_NE(sheet, nullptr);
  EXPECT_GT(sheet->values().width, 0);
  sheet->widthField()->setValue(160);
  sheet->heightField()->setValue(120);
  sheet->accept();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !outcomes.empty(); }, 60'000));
  EXPECT_TRUE(outcomes[0]);
  EXPECT_TRUE(alerts.empty());

  // Frames 0–29 and 60–89 of the source, decoded from the file.
  std::vector<int> expected(30);
  std::iota(expected.begin(), expected.end(), 0);
  for (int i = 60; i < 90; ++i) expected.push_back(i);
  EXPECT_EQ(testmedia::readFrameIndices(destination.string()), expected);
  const auto frames = testmedia::readVideoFrames(destination.string());
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames[0].width, 160);
  EXPECT_EQ(frames[0].height, 120);
}

TEST_F(BasicExportTest, CancellingTheSheetOrTheDestinationWritesNothing) {
  const auto document = open("h264-aac-mp4");
  menu(*document, Command::Export);
  ASSERT_NE(sheetOf(*document), nullptr);
  sheetOf(*document)->reject();
  exportDestination.reset();
  QTest::qWait(20);
  menu(*document, Command::Export);
  ASSERT_NE(sheetOf(*document), nullptr);
  sheetOf(*document)->accept();
  QTest::qWait(50);
  EXPECT_TRUE(outcomes.empty());
  EXPECT_TRUE(alerts.empty());
}

TEST_F(BasicExportTest, AnUnwritableDestinationEndsInTheAlert) {
  const auto document = open("h264-aac-mp4");
  exportDestination = "/nonexistent-folder/out.mp4";
  menu(*document, Command::Export);
  ASSERT_NE(sheetOf(*document), nullptr);
  sheetOf(*document)->accept();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !alerts.empty(); }, 60'000));
  EXPECT_FALSE(alerts[0].description.empty());
  EXPECT_FALSE(std::filesystem::exists("/nonexistent-folder/out.mp4"));
}

}  // namespace
}  // namespace reelcraft
