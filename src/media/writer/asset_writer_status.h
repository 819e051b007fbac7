#pragma once

namespace reelcraft {

enum class AssetWriterStatus { Unknown = 0, Writing = 1, Completed = 2, Failed = 3, Cancelled = 4 };

}  // namespace reelcraft
