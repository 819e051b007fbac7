#include "cli/export_progress_bar.h"

#include <algorithm>
#include <string>

namespace reelcraft {

ExportProgressBar::ExportProgressBar(std::FILE* terminal)
    : terminal_(terminal), start_(std::chrono::steady_clock::now()) {}

void ExportProgressBar::show(double percent) {
  constexpr int kWidth = 30;
  percent = std::clamp(percent, 0.0, 100.0);
  const int filled = static_cast<int>(percent / 100.0 * kWidth);
  const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '-');
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const long left =
      percent > 0 ? static_cast<long>(elapsed * (100.0 - percent) / percent + 0.5) : 0;
  std::fprintf(terminal_, "\r[%s] %5.1f%%  %ld:%02ld:%02ld left ", bar.c_str(), percent,
               left / 3600, left / 60 % 60, left % 60);
  std::fflush(terminal_);
  drawn_ = true;
}

void ExportProgressBar::finish() {
  if (drawn_) std::fputc('\n', terminal_);
  drawn_ = false;
}

}  // namespace reelcraft
