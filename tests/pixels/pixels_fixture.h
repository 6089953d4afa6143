// Fixtures for the pixel tests: built tables, caught messages, a scratch folder for the cache.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "start/message.h"
#include "start/run_paths.h"

namespace vela {

inline std::vector<std::string> g_messages;
inline void RecordMessage(const char* text) {
  g_messages.emplace_back(text);
}

class PixelsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(BuildPixelTables());
    g_messages.clear();
    old_sink_ = SetMessageSink(RecordMessage);
  }
  void TearDown() override { SetMessageSink(old_sink_); }
  static bool Seen(const std::string& text) {
    return std::find(g_messages.begin(), g_messages.end(), text) != g_messages.end();
  }
  MessageSink old_sink_ = nullptr;
};

// The cache's scratch file goes to a folder of the test's own.
class ScratchTest : public PixelsTest {
 protected:
  void SetUp() override {
    PixelsTest::SetUp();
    std::string pattern = (std::filesystem::temp_directory_path() / "vela_cache_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    Paths().tempDir = dir_ + "/";
  }
  void TearDown() override {
    CacheStop();
    std::filesystem::remove_all(dir_);
    PixelsTest::TearDown();
  }
  std::string dir_;
};

inline std::vector<Pixel> Pixels(const Block* b) {
  return {b->data, b->data + b->width * b->height};
}

}  // namespace vela
