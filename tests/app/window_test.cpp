// The real window under an X server (xvfb-run in the test script), driven by synthetic X input.
#include "app_fixture.h"

namespace apptest {
namespace {

using Window = RealWindow;

TEST_F(Window, TakesPointerInputAndPaintsThePage) {
  SteadyPen(dir_ / "home");
  ASSERT_TRUE(Launch("PageWidth=100 PageHeight=80 --save-page page.png")) << "no window appeared";
  int w = 0, h = 0;
  Size(&w, &h);
  ASSERT_GT(w, 100);
  ASSERT_GT(h, 80);
  int px = (w - 100) / 2, py = (h - 80) / 2;
  auto at = [&](int x, int y) { return std::to_string(px + x) + " " + std::to_string(py + y); };
  // Left clicks paint A pen dots; a right click on the first erases it.
  // The window shows before the run reaches its loop; give start-up a moment.
  Sh("sleep 1; xdotool mousemove --window " + wid_ + " " + at(10, 12) +
     " sleep 0.2 click 1 sleep 0.2");
  Sh("xdotool mousemove --window " + wid_ + " " + at(30, 40) + " sleep 0.2 click 1 sleep 0.3");
  Sh("xdotool mousemove --window " + wid_ + " " + at(10, 12) + " sleep 0.3 click 3 sleep 0.3");
  Stop();

  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png)) << Slurp(dir_ / "log");
  EXPECT_EQ(png.Argb(10, 12), 0u);
  EXPECT_EQ(png.Argb(30, 40), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(50, 50), 0u);
}

// A person picks Layers > New Layer from the menu bar by the pointer, answers the Requester with
// a name and Return, and has the layer.
TEST_F(Window, AMenuPickAsksAndTheAnswerMakesTheLayer) {
  ASSERT_TRUE(Launch("PageWidth=200 PageHeight=120", true)) << "no window appeared";
  const std::string before = Ask("qd_layercurrentid");
  // The bar's third title is Layers; its first row is New Layer.
  Sh("sleep 1");
  Click(101, 11);
  Click(130, 33);
  Sh("xdotool type --delay 50 Sky; sleep 0.2; xdotool key Return; sleep 0.5");
  const std::string id = Ask("qd_layercurrentid");
  EXPECT_NE(id, before);
  const std::string info = Ask("qd_layerinfo " + id);
  EXPECT_NE(info.find("\"Sky\""), std::string::npos) << info << "\n" << Slurp(dir_ / "log");
}

// A person makes a layer, adds an image, draws on both through the Layers window's time-line
// and steps between them there. The Layers window opens by its key at its default place: the
// bottom of the 1280 by 800 window, 136 from the left, its cells on the row 175 below its top.
TEST_F(Window, TheLayersWindowStepsBetweenTheImagesOfALayer) {
  SteadyPen(dir_ / "home");
  ASSERT_TRUE(Launch("PageWidth=200 PageHeight=120")) << "no window appeared";
  const int cellY = 580 + 175, cell0 = 136 + 42, cell1 = cell0 + 38;
  const int pageX = (1280 - 200) / 2, pageY = (800 - 120) / 2;
  Sh("sleep 0.5; xdotool key shift+n sleep 0.4 type Anim; xdotool key Return sleep 0.3 key "
     "shift+i sleep 0.3 key 0 sleep 0.5");
  Click(cell0, cellY);
  Click(pageX + 20, pageY + 20);
  Click(cell1, cellY);
  Click(pageX + 60, pageY + 60);
  EXPECT_EQ(Ask("qd_layergetimage"), "1");
  EXPECT_EQ(Ask("qd_getpixel 60 60"), "255 0 0 255") << Slurp(dir_ / "log");
  EXPECT_EQ(Ask("qd_getpixel 20 20"), "0 0 0 0");
  Click(cell0, cellY);
  EXPECT_EQ(Ask("qd_layergetimage"), "0");
  EXPECT_EQ(Ask("qd_getpixel 20 20"), "255 0 0 255");
  EXPECT_EQ(Ask("qd_getpixel 60 60"), "0 0 0 0");
}

}  // namespace
}  // namespace apptest
