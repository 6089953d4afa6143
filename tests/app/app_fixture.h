// Helpers for tests that run the vela program: temporary homes, shell runs and PNG reading.
#pragma once

#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace apptest {

namespace fs = std::filesystem;

inline int ExitCode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::string Slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Standard output of a shell command; with trim, without its last line breaks.
inline std::string Sh(const std::string& cmd, int* status = nullptr, bool trim = false) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return out;
  char buf[512];
  while (fgets(buf, sizeof buf, p)) out += buf;
  int st = pclose(p);
  if (status) *status = ExitCode(st);
  while (trim && !out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

inline std::string ShTrim(const std::string& cmd) {
  return Sh(cmd, nullptr, true);
}

// The window opens with its menu bar and toolbar, which a headless run has not: Space and a
// middle click put them away, so both show the same page at the same place.
inline void Undress(const std::string& wid) {
  Sh("sleep 0.5; xdotool windowfocus --sync " + wid + " key space mousemove --window " + wid +
     " 1 1 click 2 sleep 0.3 mousemove 0 0");
}

// The X window of a running vela, or "" when none shows within 20 s; undressed unless dressed.
inline std::string WindowOf(const std::string& pid, bool dressed = false) {
  const std::string wid =
      ShTrim("timeout 20 xdotool search --sync --onlyvisible --pid " + pid + " | head -1");
  if (!wid.empty() && !dressed) Undress(wid);
  return wid;
}

// The Pen reads the pointer's speed as it comes, and a real window's clock is not an event file's:
// a home whose Pen leaves speed off paints a drag the same way from both.
inline void SteadyPen(const fs::path& home) {
  fs::create_directories(home / "configs");
  std::ofstream(home / "configs" / "Standard.ini") << "[Pens]\nPen=1 0 25 3 0\n";
}

// Ends a run as SIGTERM does and waits up to 10 s for it to go.
inline void StopRun(const std::string& pid) {
  Sh("kill -TERM " + pid);
  for (int i = 0; i < 100 && ShTrim("kill -0 " + pid + " 2>/dev/null; echo $?") == "0"; ++i)
    usleep(100000);
}

struct Png {
  int width = 0, height = 0, channels = 0;
  std::vector<uint8_t> bytes;
  const uint8_t* At(int x, int y) const {
    return &bytes[(static_cast<size_t>(y) * width + x) * channels];
  }
  uint32_t Rgb(int x, int y) const {
    const uint8_t* p = At(x, y);
    return (p[0] << 16) | (p[1] << 8) | p[2];
  }
  int Alpha(int x, int y) const { return channels == 4 ? At(x, y)[3] : 255; }
  uint32_t Argb(int x, int y) const {
    return (static_cast<uint32_t>(Alpha(x, y)) << 24) | Rgb(x, y);
  }
};

inline bool ReadPng(const fs::path& path, Png* out) {
  png_image img{};
  img.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&img, path.c_str())) return false;
  out->channels = (img.format & PNG_FORMAT_FLAG_ALPHA) ? 4 : 3;
  img.format = out->channels == 4 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  out->width = img.width;
  out->height = img.height;
  out->bytes.resize(PNG_IMAGE_SIZE(img));
  return png_image_finish_read(&img, nullptr, out->bytes.data(), 0, nullptr) != 0;
}

// A fresh folder per test, named after it, removed afterwards.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = fs::temp_directory_path() / ("vela-" + std::to_string(getpid()) + "-" +
                                        info->test_suite_name() + "-" + info->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    if (!std::getenv("VELA_KEEP_TEST_DIR")) fs::remove_all(dir_);
  }
  void Write(const std::string& name, const std::string& text) {
    std::ofstream(dir_ / name, std::ios::binary) << text;
  }
  fs::path dir_;
};

// Headless runs of vela in the folder, with its home and ini there.
class VelaRun : public TempDirTest {
 protected:
  // The exit status; standard input from a file in the folder when given.
  int Run(const std::string& args, const std::string& input = "") {
    std::string cmd = "cd '" + dir_.string() + "' && env -u DISPLAY -u WAYLAND_DISPLAY HOME='" +
                      dir_.string() + "' '" VELA_EXE "' --home home --ini Vela.INI " + args +
                      (input.empty() ? "" : " <'" + input + "'") + " >out.txt 2>err.txt";
    return ExitCode(std::system(cmd.c_str()));
  }
  std::string Out() { return Slurp(dir_ / "out.txt"); }
  std::string Err() { return Slurp(dir_ / "err.txt"); }
};

// A vela in a real window of the X server, its command channel on a socket in the folder. Skips
// without a display or xdotool.
class RealWindow : public VelaRun {
 protected:
  void SetUp() override {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) GTEST_SKIP() << "no X display";
    if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";
    VelaRun::SetUp();
  }
  void TearDown() override {
    if (!pid_.empty()) StopRun(pid_);
    VelaRun::TearDown();
  }
  // Starts it with these options and finds its window; false after killing it when none shows.
  // The window libraries keep one-time allocations to the end; leaks are checked headless.
  bool Launch(const std::string& args, bool dressed = false) {
    pid_ = Sh("cd '" + dir_.string() + "' && ASAN_OPTIONS=detect_leaks=0 VELA_SOCKET='" + Socket() +
                  "' HOME='" + dir_.string() + "' '" VELA_EXE "' --home home --ini Vela.INI " +
                  args + " >log 2>&1 & echo $!",
              nullptr, true);
    if (pid_.empty()) return false;
    wid_ = WindowOf(pid_, true);
    if (wid_.empty()) {
      Sh("kill -9 " + pid_), pid_.clear();
      return false;
    }
    // The channel answers once the main loop runs: the window is ready for input.
    for (int i = 0; i < 100 && Ask("qd_layercurrentid").empty(); ++i) usleep(200000);
    if (!dressed) Undress(wid_);
    return true;
  }
  // Ends the run in order, so that its files are written.
  void Stop() {
    if (!pid_.empty()) StopRun(pid_);
    pid_.clear();
  }
  void Size(int* w, int* h) {
    std::istringstream lines(Sh("xdotool getwindowgeometry --shell " + wid_));
    for (std::string l; std::getline(lines, l);) {
      if (l.rfind("WIDTH=", 0) == 0) *w = std::atoi(l.c_str() + 6);
      if (l.rfind("HEIGHT=", 0) == 0) *h = std::atoi(l.c_str() + 7);
    }
  }
  // The answer of a command through the channel.
  std::string Ask(const std::string& command) {
    return ShTrim("VELA_SOCKET='" + Socket() + "' '" VELA_COMMAND_EXE "' --timeout 20 " + command +
                  " 2>/dev/null");
  }
  // A left click at window pixels.
  void Click(int x, int y) {
    Sh("xdotool mousemove --window " + wid_ + " " + std::to_string(x) + " " + std::to_string(y) +
       " sleep 0.2 click 1 sleep 0.4");
  }
  std::string Socket() const { return (dir_ / "sock").string(); }
  std::string pid_, wid_;
};

}  // namespace apptest
