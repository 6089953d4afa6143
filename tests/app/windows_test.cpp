// The Windows in the program: the gadget demo from its key, headless and under an X server with
// real pointer input (xvfb-run in the test script, xdotool for the pointer).
#include <algorithm>
#include <climits>
#include <cstdlib>

#include "app_fixture.h"

namespace apptest {
namespace {

constexpr int kDemoW = 392, kDemoH = 200;  // the demo Window, centred on the screen

// Opens the demo, drags it by its title in eight steps, and leaves the pointer on the background.
std::string DragEvents(int screenW, int screenH) {
  int l = (screenW - kDemoW) / 2, t = (screenH - kDemoH) / 2;
  std::ostringstream e;
  e << "move 2 2\nkey ctrl+shift+F12\nmove " << l + 100 << " " << t + 10 << "\ndown left\n";
  for (int i = 1; i <= 8; ++i) e << "move " << l + 100 - i * 20 << " " << t + 10 - i * 10 << "\n";
  e << "up left\nmove 2 2\n";
  return e.str();
}

using Windows = VelaRun;

TEST_F(Windows, TheDemoOpensFromItsKeyAndItsGadgetsAnswer) {
  // Screen 1280 by 800: the demo at 444, 300. Its toggle starts selected and a click unselects it.
  Write("a.txt", "key ctrl+shift+F12\n");
  Write("b.txt", "key ctrl+shift+F12\nmove 730 337\ndown left\nup left\n");
  ASSERT_EQ(Run("--events a.txt --screenshot a.png"), 0) << Err();
  ASSERT_EQ(Run("--events b.txt --screenshot b.png"), 0) << Err();
  Png a, b;
  ASSERT_TRUE(ReadPng(dir_ / "a.png", &a));
  ASSERT_TRUE(ReadPng(dir_ / "b.png", &b));
  EXPECT_EQ(a.Rgb(444 + 100, 300 + 5), 0x000080u);  // the title bar
  EXPECT_EQ(a.Rgb(730, 330), 0xBFFFBFu);            // first pair, selected
  EXPECT_EQ(b.Rgb(730, 330), 0x9CAE9Cu);            // first pair
  EXPECT_EQ(a.Rgb(440, 310), b.Rgb(440, 310));      // beside the Window: the same screen
}

// A project opened at the start redraws the screen, and the Windows opened by the settings stay
// on it: the Tools window keeps its title bar over the new page.
TEST_F(Windows, AProjectOpenedAtTheStartKeepsTheWindowsOnTheScreen) {
  const std::string project = (dir_ / "p.vel").string();
  Write("save.vcmd", "qd_saveproject " + project + "\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --script save.vcmd"), 0) << Err();
  fs::create_directories(dir_ / "home" / "configs");
  std::ofstream(dir_ / "home" / "configs" / "Standard.ini", std::ios::app)
      << "\n[Pens]\nWIN_X=559\nWIN_Y=355\nDisplay=ON\n";
  ASSERT_EQ(Run("PageWidth=640 PageHeight=480 --screenshot s.png " + project), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "s.png", &png));
  EXPECT_EQ(png.Rgb(559 + 60, 355 + 8), 0x000080u);
}

using RealWindows = RealWindow;

TEST_F(RealWindows, ARealPointerDragGivesTheScreenOfTheHeadlessRun) {
  ASSERT_TRUE(Launch("--screenshot real.png")) << "no window appeared";
  int w = 0, h = 0;
  Size(&w, &h);
  ASSERT_GT(w, kDemoW);
  ASSERT_GT(h, kDemoH);

  // The same events, line by line, as X input; the window shows before the loop runs.
  std::string script = "sleep 1; ";
  std::istringstream events(DragEvents(w, h));
  for (std::string line; std::getline(events, line);) {
    std::istringstream words(line);
    std::string verb, a, b;
    words >> verb >> a >> b;
    if (verb == "move")
      script += "xdotool mousemove --window " + wid_ + " " + a + " " + b + "; ";
    else if (verb == "key")
      script += "xdotool windowfocus --sync " + wid_ + "; xdotool key " + a + "; ";
    else if (verb == "down")
      script += "xdotool mousedown 1; ";
    else if (verb == "up")
      script += "xdotool mouseup 1; ";
    script += "sleep 0.1; ";
  }
  Sh(script + "sleep 0.3");
  Stop();

  Write("drag.txt", DragEvents(w, h));
  ASSERT_EQ(Run("--size " + std::to_string(w) + "x" + std::to_string(h) +
                " --events drag.txt --screenshot headless.png"),
            0)
      << Err();
  Png real, headless;
  ASSERT_TRUE(ReadPng(dir_ / "real.png", &real)) << Slurp(dir_ / "log");
  ASSERT_TRUE(ReadPng(dir_ / "headless.png", &headless));
  ASSERT_EQ(real.width, headless.width);
  ASSERT_EQ(real.height, headless.height);
  // The Window went where the pointer took it: 160 left and 80 up of the centre.
  int l = (w - kDemoW) / 2 - 160, t = (h - kDemoH) / 2 - 80;
  EXPECT_EQ(real.Rgb(l + 100, t + 5), 0x000080u);
  int differ = 0;
  for (int y = 0; y < real.height; ++y)
    for (int x = 0; x < real.width; ++x) differ += real.Rgb(x, y) != headless.Rgb(x, y);
  EXPECT_EQ(differ, 0);
}

// What a person sees of the window, as the X server shows it.
Png Capture(const fs::path& dir, const std::string& wid, const std::string& name) {
  Png png;
  Sh("import -window " + wid + " '" + (dir / name).string() + "' 2>/dev/null");
  ReadPng(dir / name, &png);
  return png;
}

// The pixels where two screens differ: x0, y0, x1, y1 of their box, and how many.
struct Difference {
  int x0 = INT_MAX, y0 = INT_MAX, x1 = -1, y1 = -1, count = 0;
};
Difference Compare(const Png& a, const Png& b) {
  Difference d;
  for (int y = 0; y < std::min(a.height, b.height); ++y)
    for (int x = 0; x < std::min(a.width, b.width); ++x)
      if (a.Rgb(x, y) != b.Rgb(x, y)) {
        ++d.count;
        d.x0 = std::min(d.x0, x), d.y0 = std::min(d.y0, y);
        d.x1 = std::max(d.x1, x), d.y1 = std::max(d.y1, y);
      }
  return d;
}

// The menu bar with a pop-up, a text Requester, and the question of a stopped save over its
// gauge, each taken from the X server while a person would see it, and from a headless run of
// the same input, whose screenshot keeps the screen at the question its feed ended in.
TEST_F(RealWindows, MenusRequestersAndTheGaugeLookAsInTheHeadlessRun) {
  auto typed = [](char name) { return "char " + std::string(1, name) + "\nchar .\nchar p\n"; };
  auto headless = [&](const std::string& args, const std::string& events, const std::string& png,
                      int w, int h) {
    Write("e.txt", events);
    EXPECT_EQ(Run("--size " + std::to_string(w) + "x" + std::to_string(h) + " " + args +
                  " --events e.txt --screenshot " + png),
              0)
        << Err();
    Png out;
    EXPECT_TRUE(ReadPng(dir_ / png, &out));
    return out;
  };
  // The bar stays; the toolbar goes with a middle click, and the pointer rests on the bar's
  // empty end, where nothing answers it.
  auto dress = [&] {
    return "sleep 0.5; xdotool mousemove --window " + wid_ + " 1000 700 sleep 0.3 click 2 ";
  };
  // The window is taken until it shows what the headless run showed, or a while has passed.
  auto await = [&](const Png& want, const char* name, auto good) {
    Difference d;
    for (int i = 0; i < 40 && !good(d = Compare(Capture(dir_, wid_, name), want)); ++i)
      usleep(250000);
    return d;
  };
  auto same = [](const Difference& d) { return d.count == 0; };
  ASSERT_TRUE(Launch("", true)) << "no window appeared";
  int w = 0, h = 0;
  Size(&w, &h);
  const std::string bar = "key Space\n";
  const Png popup = headless("", bar + "move 101 11\ndown left\nup left\nmove 700 10\n",
                             "popup-headless.png", w, h);
  // The pop-up's first row, New Layer, under the Layers title.
  EXPECT_NE(popup.Rgb(120, 40), popup.Rgb(120, 500));
  const Png ask =
      headless("", bar + "move 700 10\nkey shift+S\n" + typed('q'), "ask-headless.png", w, h);

  Sh(dress() + "sleep 0.3; xdotool mousemove --window " + wid_ +
     " 101 11 sleep 0.3 click 1 sleep 0.3 mousemove --window " + wid_ + " 700 10");
  Difference d = await(popup, "popup.png", same);
  EXPECT_EQ(d.count, 0) << d.x0 << "," << d.y0 << " to " << d.x1 << "," << d.y1;
  // Only the caret blinks, in the text field at the middle of the screen. The key that asked
  // leaves no letter in the field.
  auto caretOnly = [&](const Difference& d) {
    return d.count == 0 || (d.x1 - d.x0 <= 2 && d.y1 - d.y0 <= 16 && std::abs(d.x0 - w / 2) < 100);
  };
  Sh("xdotool key Escape sleep 0.3 key shift+s sleep 0.5 type --delay 50 q.p");
  d = await(ask, "ask.png", caretOnly);
  EXPECT_TRUE(caretOnly(d)) << d.x0 << "," << d.y0 << " to " << d.x1 << "," << d.y1;
  Sh("xdotool key Escape sleep 0.3");
  Stop();

  // A page large enough that the save is still at work when Escape comes. The question comes
  // after the image; a stopped save leaves its file, which must not be there for the next run.
  const std::string big = "PageWidth=4000 PageHeight=3000";
  const Png stop =
      headless(big, bar + "move 700 10\nkey shift+S\n" + typed('r') + "key Return\nkey Escape\n",
               "stop-headless.png", w, h);
  fs::remove(dir_ / "home" / "r.p");
  // The gauge, full after its one image, under the question.
  EXPECT_NE(stop.Rgb(w / 2 - 115, h / 2 - 40), stop.Rgb(10, h - 10));
  ASSERT_TRUE(Launch(big, true)) << "no window appeared";
  Sh(dress() + "sleep 0.3; xdotool mousemove --window " + wid_ +
     " 700 10 sleep 0.3 key shift+s sleep 0.5 type --delay 50 r.p; xdotool key Return Escape");
  d = await(stop, "stop.png", same);
  EXPECT_EQ(d.count, 0) << d.x0 << "," << d.y0 << " to " << d.x1 << "," << d.y1;
}

}  // namespace
}  // namespace apptest
