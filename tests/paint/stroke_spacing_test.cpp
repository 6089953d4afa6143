// Stamp spacing along the major axis, carried between segments, and the first-flag rules.
#include <gtest/gtest.h>

#include <vector>

#include "paint/stroke.h"
#include "paint_fixture.h"

namespace vela::test {
namespace {

class SpacingTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetStrokeContext();
    page_.reset(NewBlock(40, 40));
    Ws.page = page_.get();
    Ws.drawMode = DrawColor;
    Ws.noPage = 1;
    dot_ = NewBrush(1, 1, false);
    dot_->kind = BrushKindDab;
    dot_->mask[0] = 255;
  }
  void TearDown() override {
    FreeBrush(dot_);
    PaintTest::TearDown();
  }
  // Half-opacity stamps: a pixel stamped twice reads differently from one stamped once.
  void Along(int x0, int y0, int x1, int y1, bool first) {
    StampAlong(dot_, x0, y0, x1, y1, page_.get(), false, kColour, 0, first, 128, 128);
  }
  std::vector<std::pair<int, int>> Stamped() const {
    std::vector<std::pair<int, int>> out;
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 40; ++x)
        if (page_->Row(y)[x]) {
          EXPECT_EQ(page_->Row(y)[x], once_) << "stamped twice at " << x << "," << y;
          out.push_back({x, y});
        }
    return out;
  }
  using V = std::vector<std::pair<int, int>>;
  static constexpr Pixel kColour = 0xFF00FF00;
  Pixel once_ = 0x80008000;
  Brush* dot_ = nullptr;
  BlockPtr page_;
};

TEST_F(SpacingTest, PressThenStrokeStampsEveryStepPlusOnePixels) {
  StrokeCtx.step = 10;
  Along(2, 5, 2, 5, true);    // the press
  Along(2, 5, 11, 5, false);  // nine pixels: nothing
  EXPECT_EQ(Stamped(), (V{{2, 5}}));
  Along(11, 5, 13, 5, false);  // the eleventh pixel after the press
  EXPECT_EQ(Stamped(), (V{{2, 5}, {13, 5}}));
}

TEST_F(SpacingTest, ZeroLengthChainedSegmentCountsOnePixel) {
  StrokeCtx.step = 3;
  Along(0, 0, 0, 0, true);
  Along(0, 0, 0, 0, false);  // no stamp, one pixel of the spacing
  Along(0, 0, 6, 0, false);
  EXPECT_EQ(Stamped(), (V{{0, 0}, {3, 0}}));
}

TEST_F(SpacingTest, CountedAlongTheMajorAxisAndCarriedBetweenSegments) {
  StrokeCtx.step = 2;
  Along(1, 1, 10, 10, true);  // a diagonal: every third pixel, so Step·√2 apart
  EXPECT_EQ(Stamped(), (V{{1, 1}, {4, 4}, {7, 7}, {10, 10}}));
  std::fill(page_->data, page_->data + 40 * 40, 0);
  // The same spacing over a chain of one-pixel segments as over one long segment.
  Along(0, 20, 0, 20, true);
  for (int x = 0; x < 12; ++x) Along(x, 20, x + 1, 20, false);
  EXPECT_EQ(Stamped(), (V{{0, 20}, {3, 20}, {6, 20}, {9, 20}, {12, 20}}));
}

TEST_F(SpacingTest, ChainsStampEachPixelOnceWithoutFirst) {
  StrokeCtx.step = 0;
  Along(3, 3, 9, 3, true);
  Along(9, 3, 9, 8, false);    // vertical: skips (9, 3)
  Along(9, 8, 14, 12, false);  // general: not in its first turn
  V got = Stamped();
  EXPECT_EQ(got.size(), 7u + 5u + 5u);
  // A first flag resets the counter and stamps the start.
  StrokeCtx.step = 50;
  std::fill(page_->data, page_->data + 40 * 40, 0);
  Along(0, 30, 5, 30, true);
  Along(6, 31, 8, 31, true);
  EXPECT_EQ(Stamped(), (V{{0, 30}, {6, 31}}));
}

}  // namespace
}  // namespace vela::test
