// The project model and undo: layers, positions, stores through the cache, and the one undo slot.
#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "project/magic.h"
#include "project_fixture.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/parallel.h"

namespace vela {
namespace {

TEST_F(Project, StartsWithOneEmptyLayerAndBoundsLookups) {
  ASSERT_EQ(LayerCount(), 1);
  EXPECT_STREQ(LayerAt(0)->name, "Untitled");
  EXPECT_EQ(LayerAt(-1), nullptr);
  EXPECT_EQ(LayerAt(1), nullptr);
  // A new layer at position 7 lives only there.
  ASSERT_EQ(NewLayer("Seven", false, true, 7, true), 1);
  EXPECT_EQ(std::tuple(LayerAt(1)->first, LayerAt(1)->last, Timeline.position),
            std::tuple(7, 7, 7));
  // Sixty-four characters, the most the name Requester takes, are kept whole.
  const std::string name(64, 'n');
  EXPECT_EQ(LayerAt(NewLayer(name.c_str(), true, false, 0, true))->name, name);
  EXPECT_EQ(Timeline.current, 2) << "a layer put before the current one pushes it back";
}

TEST_F(Project, EmptyImagesStoreNothingAndHiddenLayersShowWhenChosen) {
  NewLayer("B", false, true, 0, true);
  SelectLayer(0, 0, true);
  EXPECT_EQ(LayerAt(1)->packedSize, 0);
  EXPECT_EQ(CacheStats(0) + CacheStats(1), 0);
  // Paint that is wiped again stores nothing either.
  Paint(1, 1, 2, 2, kRed);
  Paint(1, 1, 2, 2, 0);
  SelectLayer(1, 0, true);
  EXPECT_EQ(LayerAt(0)->packedSize, 0);
  Paint(10, 10, 20, 20, kRed);
  LayerAt(1)->flags |= kLayerHidden;
  NewLayer("C", false, true, 0, true);
  EXPECT_EQ(At(15, 15), 0u) << "a new layer opens empty";
  ASSERT_EQ(SelectLayer(1, 0, true), 1);
  EXPECT_EQ(LayerAt(1)->flags & kLayerHidden, 0u);
  EXPECT_EQ(At(15, 15), kRed);
}

// The cache refuses everything: the store fails, the move is abandoned, the work stays.
TEST_F(Project, AFailedStoreBlocksTheMoveAndLosesNothing) {
  ASSERT_EQ(UserNewLayer("B"), 1);
  PutPixel(Ws.page, 3, 3, 0xFF654321);  // a change that makes no undo step, as qd_writepixel
  ++Stamp;
  CacheHostOps failing = DefaultCacheHostOps();
  failing.allocSlab = [](size_t) -> void* { return nullptr; };
  failing.write = [](int, const void*, size_t, int64_t) { return false; };
  failing.extend = [](int, int64_t) { return false; };
  auto cache = [&](bool works) {
    CacheStop();
    SetCacheHostOps(works ? nullptr : &failing);
    ASSERT_EQ(CacheStartWithLimit(works ? 64 << 20 : 0), 1);
  };
  cache(false);
  UndoStep();
  EXPECT_EQ(LayerCount(), 2) << "the layer undo could not store the page";
  EXPECT_STREQ(Undo.label, "Undo New Layer");
  cache(true);
  SelectLayer(0, 0, true);
  Paint(0, 0, 95, 63, 0xFF123456);
  for (int x = 0; x < 96; x += 3) PutPixel(Ws.page, x, x % 64, 0xFF000000u | x * 2654435761u);
  const std::vector<Pixel> before = PagePixels();
  cache(false);
  EXPECT_EQ(SelectLayer(1, 0, true), 0);
  EXPECT_EQ(Timeline.current, 0);
  EXPECT_TRUE(PagePixels() == before);
  cache(true);
  ASSERT_EQ(SelectLayer(1, 0, true), 1) << "the same move succeeds once the cache takes bytes";
  ASSERT_EQ(SelectLayer(0, 0, true), 1);
  EXPECT_TRUE(PagePixels() == before);
}

TEST_F(Project, UndoSwapsOnlyTheLastStepAndRedoesItself) {
  Press();
  Paint(10, 10, 12, 12, kRed);
  Press();
  Paint(11, 11, 30, 30, kBlue);
  EXPECT_STREQ(Undo.label, "Undo");
  UndoStep();
  EXPECT_STREQ(Undo.label, "Redo");
  // The first stroke shows again under the second.
  EXPECT_EQ(std::tuple(At(10, 10), At(11, 11), At(20, 20)), std::tuple(kRed, kRed, 0u));
  UndoStep();
  EXPECT_STREQ(Undo.label, "Undo");
  EXPECT_EQ(std::tuple(At(11, 11), At(20, 20)), std::tuple(kBlue, kBlue));
  // A third stroke: the second can no longer be undone.
  Press();
  Paint(50, 50, 51, 51, kGreen);
  UndoStep();
  EXPECT_EQ(std::tuple(At(50, 50), At(20, 20)), std::tuple(0u, kBlue));
}

TEST_F(Project, UndoAtThePageEdgeWithNothingDrawnAndAtALayerChange) {
  Press();
  Paint(90, 60, 95, 63, kRed);  // the grown rectangle passes the corner
  Press();                      // commits a clipped rectangle
  Paint(93, 62, 95, 63, kBlue);
  UndoStep();
  EXPECT_EQ(std::tuple(At(95, 63), At(90, 60)), std::tuple(kRed, kRed));
  Press(40, 40);
  const std::vector<Pixel> before = PagePixels();
  UndoStep();
  EXPECT_STREQ(Undo.label, "Redo") << "an empty step still flips the label";
  EXPECT_TRUE(PagePixels() == before);

  Press();
  Paint(0, 0, 5, 5, kRed);
  NewLayer("B", false, true, 0, true);
  SelectLayer(0, 0, true);
  UndoStep();
  EXPECT_EQ(At(2, 2), kRed) << "the stroke before the move is part of the stored image";
}

// Manual steps: a press opens a step only once something made undo ready; a right press always.
TEST_F(Project, ManualModeGathersStrokesUntilReadyAndNoUndoModeHasNone) {
  Ws.undoMode = 1;
  PressUndo(true, false);
  Paint(0, 0, 1, 1, kRed);
  PressUndo(true, false);
  Paint(5, 5, 6, 6, kRed);
  UndoStep();
  EXPECT_EQ(std::tuple(At(0, 0), At(5, 5)), std::tuple(0u, 0u)) << "both strokes were one step";
  UndoStep();
  UpdateUndo();  // the script's commit; the next press opens a step
  PressUndo(true, false);
  Paint(10, 10, 11, 11, kBlue);
  UndoStep();
  EXPECT_EQ(std::tuple(At(0, 0), At(10, 10)), std::tuple(kRed, 0u));
  UndoStep();
  PressUndo(false, true);
  Paint(20, 20, 21, 21, kGreen);
  UndoStep();
  EXPECT_EQ(std::tuple(At(10, 10), At(20, 20)), std::tuple(kBlue, 0u))
      << "a right press opened a step";

  Ws.undoMode = 2;
  Restart(32, 32);
  EXPECT_EQ(Ws.undo, nullptr);
  Press();
  Paint(0, 0, 3, 3, kRed);
  UndoStep();
  EXPECT_EQ(At(1, 1), kRed);
  Ws.undoMode = 0;
}

TEST_F(Project, LayerOperationsUndoAndRedo) {
  Paint(0, 0, 9, 9, kRed);
  const int firstId = CurrentLayer()->id;
  ASSERT_EQ(UserNewLayer("Top"), 1);
  EXPECT_STREQ(Undo.label, "Undo New Layer");
  Paint(20, 20, 29, 29, kBlue);
  // Drawing takes the slot: the new layer stays.
  UndoStep();
  EXPECT_EQ(LayerCount(), 2);
  UserNewLayer("Second");
  UndoStep();
  EXPECT_EQ(LayerCount(), 2);
  EXPECT_STREQ(Undo.label, "Redo New Layer");
  UndoStep();
  ASSERT_EQ(LayerCount(), 3);
  EXPECT_STREQ(CurrentLayer()->name, "Second");

  // Delete keeps the record; undo brings the layer back with its pixels and selection.
  const int index = LayerIndexOfId(firstId);
  ASSERT_EQ(SelectLayer(index, 0, true), 1);
  ASSERT_EQ(DeleteLayer(index), 1);
  EXPECT_EQ(LayerIndexOfId(firstId), -1);
  EXPECT_STREQ(CurrentLayer()->name, "Top") << "the next layer becomes current";
  UndoStep();
  EXPECT_EQ(std::tuple(LayerIndexOfId(firstId), CurrentLayer()->id, At(5, 5)),
            std::tuple(index, firstId, kRed));
  UndoStep();
  EXPECT_EQ(std::pair(LayerIndexOfId(firstId), LayerCount()), std::pair(-1, 2));
}

TEST_F(Project, DeletingTheLastLayerClearsItAndUndoRestoresIt) {
  Paint(0, 0, 9, 9, kRed);
  std::snprintf(CurrentLayer()->name, kLayerNameSize, "Sky");
  ASSERT_EQ(DeleteLayer(0), 1);
  ASSERT_EQ(LayerCount(), 1);
  EXPECT_STREQ(CurrentLayer()->name, "Untitled");
  EXPECT_EQ(At(5, 5), 0u);
  EXPECT_STREQ(Undo.label, "Undo Delete Layer \"Sky\"");
  UndoStep();
  EXPECT_STREQ(CurrentLayer()->name, "Sky");
  EXPECT_EQ(At(5, 5), kRed);
}

TEST_F(Project, SequencesClampPositionsKeepEachImageAndUndo) {
  Paint(0, 0, 9, 9, kRed);
  ASSERT_EQ(MakeAnim(2), 1);
  ASSERT_NE(CurrentLayer()->sequence, nullptr);
  GotoPosition(2, 0);
  EXPECT_EQ(At(5, 5), kRed) << "extra frames copy the first";
  Paint(20, 20, 21, 21, kGreen);
  GotoPosition(0, 0);
  ASSERT_EQ(InsertImage(1, false), 1);
  EXPECT_EQ(CurrentLayer()->last, 3);
  UndoStep();
  EXPECT_EQ(CurrentLayer()->last, 2);
  UndoStep();
  EXPECT_EQ(std::tuple(ProjectFirstImage(), ProjectLastImage()), std::tuple(0, 3));
  GotoPosition(1, 0);
  EXPECT_EQ(At(5, 5), 0u) << "the inserted image is empty and follows the current one";
  ASSERT_EQ(GotoPosition(9, 0), 1);
  EXPECT_EQ(Timeline.position, 3) << "the last image stops the move";
  EXPECT_EQ(At(20, 20), kGreen);
  GotoPosition(-4, 0);
  EXPECT_EQ(Timeline.position, 0);
  EXPECT_EQ(At(20, 20), 0u);
  // Make Anim on a fresh single image undoes to the single image.
  UserNewLayer("Still");
  Paint(0, 0, 1, 1, kBlue);
  MakeAnim(4);
  UndoStep();
  EXPECT_EQ(CurrentLayer()->sequence, nullptr);
  EXPECT_EQ(At(0, 0), kBlue);
  EXPECT_EQ(Refill(0), -1);
  EXPECT_TRUE(Seen("Nothing to refill!"));
}

TEST_F(Project, LayerSettingsAndTimeCodes) {
  std::filesystem::create_directories(dir_ + "/configs");
  Paths().homeDir = dir_;
  ConfigOpen("t");
  for (auto [key, value] : {std::pair{"IconRatio", "9"},
                            {"Scale", "0"},
                            {"BackgroundColor", "300 2 3"},
                            {"Background", "check"}})
    ConfigPut("MLayers", key, value);
  LoadLayerSettings();
  EXPECT_EQ(
      std::tuple(LayerSet.iconRatio, LayerSet.scale, LayerSet.backgroundColor, LayerSet.background),
      std::tuple(4, 1, 0xFFFF0203u, 2));
  EXPECT_EQ(LayerSet.secondBackgroundColor, 0xFFFFFFFFu) << "three numbers leave the second colour";
  SaveLayerSettings();
  char text[64];
  ConfigGet("MLayers", "Background", text, "", sizeof text - 1);
  EXPECT_STREQ(text, "Check");
  ConfigOpen(nullptr);

  Ws.frameRate = 25;
  for (auto [mode, position, code] :
       {std::tuple{0, 1530, "1530"}, {1, 1530, " 1:01:05"}, {1, 30, "01:05"}}) {
    LayerSet.modeTimeCode = mode;  // 1530 is 1 minute (1500), 1 second (25) and 5 frames
    FormatTimeCode(position, text, sizeof text);
    EXPECT_STREQ(text, code);
  }
  LayerSet.modeTimeCode = 0;
}

// A still background with a small figure moving over it: each image stores only the tiles the
// figure touches, well under 1% of the raw page, and each reads back as its own.
TEST_F(Project, ALongAnimationStoresOnlyWhatChanges) {
  Restart(640, 480);
  for (int y = 0; y < 480; ++y) FillRect(Ws.page, 0, y, 639, y, PenPixel(y / 2, 100, 255 - y / 2));
  MarkChanged(0, 0, 639, 479);
  constexpr int kFrames = 60;
  ASSERT_EQ(MakeAnim(kFrames - 1), 1);
  const int64_t before = CacheStats(0) + CacheStats(1);
  auto figureAt = [](int k) { return std::pair{20 + k * 10, 100 + (k * 37) % 300}; };
  for (int k = 0; k < kFrames; ++k) {
    ASSERT_EQ(GotoPosition(k, 1), 1);
    auto [x, y] = figureAt(k);
    Paint(x, y, x + 11, y + 11, 0xFFFFFF00);
  }
  ASSERT_EQ(GotoPosition(0, 1), 1);
  const double perImage = double(CacheStats(0) + CacheStats(1) - before) / kFrames;
  EXPECT_LT(perImage, 0.01 * 640 * 480 * 4);
  for (int k : {0, kFrames / 2, kFrames - 1}) {
    GotoPosition(k, 1);
    for (int j : {0, kFrames / 2, kFrames - 1}) {
      auto [x, y] = figureAt(j);
      EXPECT_EQ(At(x + 5, y + 5) == 0xFFFFFF00, j == k) << "image " << k << ", figure " << j;
    }
  }
}

std::vector<int> g_answers;
std::vector<std::string> g_titles;
int Answer(const char* title, int* value, int minimum, int maximum) {
  g_titles.emplace_back(title);
  if (g_answers.empty()) return -1;
  *value = std::clamp(g_answers.front(), minimum, maximum);
  g_answers.erase(g_answers.begin());
  return 0;
}

TEST(MagicNumberPanel, KnownCodesAskForTheirValueAndOthersDoNothing) {
  const AskHandlers handlers{.askNumber = Answer};
  const AskHandlers* old = SetAskHandlers(&handlers);
  g_answers = {1025, 3};
  MagicNumber();
  EXPECT_EQ(WorkerCount(), 3);
  EXPECT_EQ(g_titles, (std::vector<std::string>{"Magic Number", "Processor"}));
  g_titles.clear();
  g_answers = {77, 5};
  MagicNumber();
  EXPECT_EQ(g_titles, std::vector<std::string>{"Magic Number"});
  EXPECT_EQ(WorkerCount(), 3);
  g_answers = {1025, 99};  // cut to the panel's upper bound
  MagicNumber();
  EXPECT_EQ(WorkerCount(), 64);
  SetWorkerCount(0);
  SetAskHandlers(old);
}

}  // namespace
}  // namespace vela
