// The Windows in the program: the gadget demo from its key, headless and under an X server with
// real pointer input (xvfb-run in the test script, xdotool for the pointer).
#include "app_fixture.h"

namespace apptest {
namespace {

constexpr int kDemoW = 392, kDemoH = 200;  // the demo Window, centred on the screen

// Opens the demo, drags it by its title in eight steps, and leaves the pointer on the background.
std::string DragEvents(int screenW, int screenH) {
  int l = (screenW - kDemoW) / 2, t = (screenH - kDemoH) / 2;
  std::ostringstream e;
  e << "move 2 2\nkey F12\nmove " << l + 100 << " " << t + 10 << "\ndown left\n";
  for (int i = 1; i <= 8; ++i) e << "move " << l + 100 - i * 20 << " " << t + 10 - i * 10 << "\n";
  e << "up left\nmove 2 2\n";
  return e.str();
}

using Windows = VelaRun;

TEST_F(Windows, TheDemoOpensFromItsKeyAndItsGadgetsAnswer) {
  // Screen 1280 by 800: the demo at 444, 300. Its toggle starts selected and a click unselects it.
  Write("a.txt", "key F12\n");
  Write("b.txt", "key F12\nmove 730 337\ndown left\nup left\n");
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

}  // namespace
}  // namespace apptest
