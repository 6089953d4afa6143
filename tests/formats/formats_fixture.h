// Fixtures for the format tests: a scratch folder, caught messages, sample pictures, and the
// outside tools (ImageMagick, netpbm) that tell what a file really holds.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "formats/coders.h"
#include "formats/formats.h"
#include "formats/registry.h"
#include "pixels/block.h"
#include "start/gauge.h"
#include "start/message.h"

namespace vela {

// A gauge that keeps its titles and what it was told, and raises the stop flag at the n-th
// update after an open (0: never), as a press of " Stop " would.
struct GaugeProbe {
  struct Update {
    int done, total;
    size_t title;  // index in titles
  };
  static inline std::vector<std::string> titles;
  static inline std::vector<Update> updates;
  static inline int stopAt = 0, sinceOpen = 0;
  static void Install(int n) {
    static const GaugeHandlers handlers = {[](const char* title) {
                                             titles.emplace_back(title);
                                             sinceOpen = 0;
                                           },
                                           [](int done, int total) {
                                             updates.push_back({done, total, titles.size() - 1});
                                             if (++sinceOpen == stopAt) SetGaugeStop(true);
                                           },
                                           [] {}};
    titles.clear();
    updates.clear();
    stopAt = n;
    sinceOpen = 0;
    SetGaugeStop(false);
    SetGaugeHandlers(&handlers);
  }
  // The `done` of every update under the last gauge of this title.
  static std::vector<int> Done(const std::string& title) {
    std::vector<int> out;
    for (const Update& u : updates)
      if (u.title < titles.size() && titles[u.title] == title &&
          std::find(titles.begin() + u.title + 1, titles.end(), title) == titles.end())
        out.push_back(u.done);
    return out;
  }
  static void Remove() {
    SetGaugeHandlers(nullptr);
    SetGaugeStop(false);
  }
};

inline std::vector<std::string> g_messages;
inline void RecordMessage(const char* text) {
  g_messages.emplace_back(text);
}

// Straight RGBA bytes, row 0 first, as an outside tool reads a file.
struct Rgba {
  int width = 0, height = 0;
  std::vector<uint8_t> bytes;
  uint32_t At(int x, int y) const {
    const uint8_t* p = &bytes[(static_cast<size_t>(y) * width + x) * 4];
    return MakePixel(p[3], p[0], p[1], p[2]);
  }
};

class FormatsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(BuildPixelTables());
    g_messages.clear();
    old_sink_ = SetMessageSink(RecordMessage);
    dir_ = std::filesystem::temp_directory_path() /
           ("vela-formats-" + std::to_string(getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    SetMessageSink(old_sink_);
    std::filesystem::remove_all(dir_);
  }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  static bool Seen(const std::string& text) {
    return std::find(g_messages.begin(), g_messages.end(), text) != g_messages.end();
  }

  static void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  static std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  // ImageMagick's convert as Debian installs it (a wrapper earlier on PATH only slows it down).
  static std::string Convert() {
    return std::filesystem::exists("/usr/bin/convert") ? "/usr/bin/convert" : "convert";
  }

  static bool Tool(const std::string& command) {
    return std::system((command + " 2>/dev/null").c_str()) == 0;
  }

  // What ImageMagick reads from a file, as 8-bit straight RGBA.
  Rgba Magick(const std::string& file) {
    Rgba out;
    const std::string raw = Path("magick.rgba");
    std::filesystem::remove(raw);
    FILE* p = popen((Convert() + " '" + file + "[0]' -depth 8 -write rgba:'" + raw +
                     "' -format '%w %h' info: 2>/dev/null")
                        .c_str(),
                    "r");
    if (!p || std::fscanf(p, "%d %d", &out.width, &out.height) != 2) out.width = 0;
    if (p) pclose(p);
    if (out.width == 0) return {};
    out.bytes = ReadBytes(raw);
    return out;
  }

  // What netpbm reads from a TGA file, with its alpha when the file has one. (ImageMagick 6.9
  // turns TGA rows upside down both ways, so netpbm is the outside reader here.)
  Rgba NetpbmTga(const std::string& file, bool alpha) {
    const std::string rgb = Path("tga.ppm"), a = Path("tga.pgm");
    if (!Tool("tgatoppm -alphaout='" + a + "' '" + file + "' > '" + rgb + "'")) return {};
    Rgba out = Pnm(ReadBytes(rgb));
    if (!alpha) return out;
    const Rgba mask = Pnm(ReadBytes(a));
    if (mask.bytes.size() != out.bytes.size()) return {};
    for (size_t i = 3; i < out.bytes.size(); i += 4) out.bytes[i] = mask.bytes[i - 3];
    return out;
  }

  // A netpbm P6 or P5 file as opaque RGBA.
  static Rgba Pnm(const std::vector<uint8_t>& f) {
    Rgba out;
    size_t at = 2;
    auto number = [&]() {
      while (at < f.size() && (std::isspace(f[at]) || f[at] == '#')) {
        if (f[at] == '#')
          while (at < f.size() && f[at] != '\n') ++at;
        else
          ++at;
      }
      int v = 0;
      while (at < f.size() && std::isdigit(f[at])) v = v * 10 + (f[at++] - '0');
      return v;
    };
    if (f.size() < 3 || f[0] != 'P' || (f[1] != '6' && f[1] != '5')) return out;
    const int channels = f[1] == '6' ? 3 : 1;
    out.width = number();
    out.height = number();
    number();
    ++at;
    const size_t n = static_cast<size_t>(out.width) * out.height;
    if (f.size() < at + n * channels) return {};
    for (size_t i = 0; i < n; ++i) {
      const uint8_t* p = &f[at + i * channels];
      out.bytes.insert(out.bytes.end(), {p[0], p[channels - 1 > 0 ? 1 : 0], p[channels - 1], 255});
    }
    return out;
  }

  static bool HaveTools() { return Tool("command -v convert identify pnmtopng >/dev/null"); }

  std::filesystem::path dir_;
  MessageSink old_sink_ = nullptr;
};

// An opaque picture with gradients, flat runs (for the run-length coders) and odd sizes.
inline BlockPtr OpaquePicture(int w = 37, int h = 23) {
  BlockPtr b(NewBlock(w, h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      b->Row(y)[x] = y % 4 == 1 ? PenPixel(200, 30, 90)
                                : PenPixel((x * 7 + y * 3) & 255, (y * 11) & 255, (x * y) & 255);
  return b;
}

// Premultiplied pixels of every alpha class: 0, partial, 255.
inline BlockPtr AlphaPicture(int w = 29, int h = 17) {
  BlockPtr b(NewBlock(w, h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int a = (x * 9 + y * 5) % 256;
      b->Row(y)[x] = Premultiplied(a, (x * 13) & 255, (y * 15) & 255, 128);
    }
  return b;
}

// n distinct opaque colours (n up to 294) whose levels the quantizer's 6-bit histogram keeps
// exactly, in turn along the rows.
inline BlockPtr GridColours(int n, int w, int h) {
  auto grid = [](int level) { return static_cast<int>(level * 255.0 / 63 + 0.5); };
  BlockPtr b(NewBlock(w, h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int k = (y * w + x) % n;
      b->Row(y)[x] = PenPixel(grid(k % 7 * 10), grid(k / 7 % 6 * 12), grid(k / 42 * 10));
    }
  return b;
}

inline BlockPtr BlankBlock(int w, int h, Pixel fill) {
  BlockPtr b(NewBlock(w, h));
  for (int y = 0; y < h; ++y) std::fill_n(b->Row(y), w, fill);
  return b;
}

}  // namespace vela
