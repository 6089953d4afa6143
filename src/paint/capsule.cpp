// Coverage of the convex hull of two discs, slab by slab, in 8.8 arithmetic.
#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "paint/stroke.h"
#include "start/input.h"
#include "start/message.h"

namespace vela {

namespace {

constexpr double kTiny = 0.0001;

struct Disc {
  double x, y, r;
};

struct Shape {
  Disc disc[2];
  int discs = 1;
  double edge[4][4];  // the tangent quadrilateral's edges: x0, y0, x1, y1
  int edges = 0;
  double top = 0, bottom = 0;
};

// Horizontal extent of the shape at height y: it is convex, so the union of its parts is one
// interval.
bool Extent(const Shape& s, double y, double* left, double* right) {
  double l = 1e300, r = -1e300;
  for (int i = 0; i < s.discs; ++i) {
    double dy = y - s.disc[i].y, rr = s.disc[i].r;
    if (std::fabs(dy) > rr * (1 + 1e-12)) continue;  // the poles themselves count
    double w = std::sqrt(std::max(0.0, rr * rr - dy * dy));
    l = std::min(l, s.disc[i].x - w);
    r = std::max(r, s.disc[i].x + w);
  }
  for (int i = 0; i < s.edges; ++i) {
    const double* e = s.edge[i];
    double ya = std::min(e[1], e[3]), yb = std::max(e[1], e[3]);
    if (y < ya || y > yb) continue;
    double x = yb - ya < 1e-12 ? e[0] : e[0] + (e[2] - e[0]) * (y - e[1]) / (e[3] - e[1]);
    if (yb - ya < 1e-12) {
      l = std::min({l, e[0], e[2]});
      r = std::max({r, e[0], e[2]});
    }
    l = std::min(l, x);
    r = std::max(r, x);
  }
  if (l > r) return false;
  *left = l;
  *right = r;
  return true;
}

struct Row {
  int32_t* acc;  // coverage in 1/256 steps; index 0 is page x = -kCoverageLead
  int width;     // entries
  int lo, hi;    // touched, inclusive
};

int64_t Fix(double v) {
  return static_cast<int64_t>(std::floor(v * 65536));
}

// 8.8 width of [u0, u1] within the pixel that starts at x0: from inside it to its right edge,
// from its left edge to inside it, both inside, or the whole pixel.
int64_t Width8(int64_t u0, int64_t u1, int64_t x0) {
  bool in0 = u0 > x0, in1 = u1 < x0 + 0x10000;
  if (in0 && in1) return (u1 - u0 + 128) >> 8;
  if (in0) return (0x10080 - (u0 - x0)) >> 8;
  if (in1) return (((u1 - x0) & 0xFF80) + 128) >> 8;
  return 256;
}

// One slab of height h over the four boundary positions (16.16): the coverage rises from 0 to h
// over [a, b], stays h to c and falls to 0 at d; each pixel takes its area in 8.8 arithmetic.
void AddSlab(Row& row, int64_t l0, int64_t l1, int64_t r0, int64_t r1, int64_t h) {
  if (h > 0x10000) h &= 0xFFFF;
  if (h < -0x10000) h = -0x10000;
  int64_t v[4] = {l0, l1, r0, r1};
  std::sort(v, v + 4);
  const int64_t a = v[0], b = v[1], c = v[2], d = v[3];
  if (a == d || h <= 0) return;  // a slab of no height adds nothing once clamped
  const int64_t rise = b > a ? static_cast<int64_t>(static_cast<double>(h) / (b - a) * 65536) : 0;
  const int64_t fall = d > c ? static_cast<int64_t>(static_cast<double>(h) / (d - c) * 65536) : 0;
  const int64_t height = (h + 128) >> 8;
  auto h8 = [h](int64_t v) { return (std::min(v, h) + 128) >> 8; };
  int first = static_cast<int>((a >> 16) + kCoverageLead);
  int last = static_cast<int>(((d - 1) >> 16) + kCoverageLead);
  first = std::max(first, 0);
  last = std::min(last, row.width - 1);
  if (first > last) return;
  row.lo = std::min(row.lo, first);
  row.hi = std::max(row.hi, last);
  for (int i = first; i <= last; ++i) {
    const int64_t x0 = static_cast<int64_t>(i - kCoverageLead) << 16, x1 = x0 + 0x10000;
    // Adds keep eight bits below the coverage unit until the row is handed out, so that two
    // slabs that fill a pixel between them give it 255, not 254.
    int64_t add;
    if (b <= x0 && c >= x1) {
      add = h * 255 >> 8;
    } else {
      int64_t area = 0;  // 8.8 by 8.8
      int64_t u0 = std::max(a, x0), u1 = std::min(b, x1);
      if (u1 > u0)
        area += Width8(u0, u1, x0) * (h8(rise * (u0 - a) >> 16) + h8(rise * (u1 - a) >> 16)) / 2;
      u0 = std::max(b, x0), u1 = std::min(c, x1);
      if (u1 > u0) area += Width8(u0, u1, x0) * height;
      u0 = std::max(c, x0), u1 = std::min(d, x1);
      if (u1 > u0)
        area += Width8(u0, u1, x0) * (h8(fall * (d - u0) >> 16) + h8(fall * (d - u1) >> 16)) / 2;
      add = area * 255 >> 8;
    }
    row.acc[i] += static_cast<int32_t>(std::clamp<int64_t>(add, 0, 255 << 8));
  }
}

void BuildShape(double x0, double y0, double r0, double x1, double y1, double r1, Shape* s) {
  double dx = x1 - x0, dy = y1 - y0, e = r1 - r0;
  double n = dx * dx + dy * dy;
  if (n - e * e < kTiny) {
    // One disc holds the other.
    s->disc[0] = r1 > r0 ? Disc{x1, y1, r1} : Disc{x0, y0, r0};
    s->discs = 1;
    s->edges = 0;
  } else {
    s->disc[0] = {x0, y0, r0};
    s->disc[1] = {x1, y1, r1};
    s->discs = 2;
    double sn = -e / n, cs = std::sqrt(n - e * e) / n;
    double t[2][4];
    for (int k = 0; k < 2; ++k) {
      double sign = k ? -1 : 1;
      double ux = sn * dx - sign * cs * dy, uy = sn * dy + sign * cs * dx;
      t[k][0] = x0 + r0 * ux, t[k][1] = y0 + r0 * uy;
      t[k][2] = x1 + r1 * ux, t[k][3] = y1 + r1 * uy;
    }
    const double quad[4][2] = {
        {t[0][0], t[0][1]}, {t[0][2], t[0][3]}, {t[1][2], t[1][3]}, {t[1][0], t[1][1]}};
    for (int i = 0; i < 4; ++i) {
      const double* p = quad[i];
      const double* q = quad[(i + 1) % 4];
      double* ed = s->edge[i];
      ed[0] = p[0], ed[1] = p[1], ed[2] = q[0], ed[3] = q[1];
      // A nearly flat edge is taken as horizontal.
      if (std::fabs(q[1] - p[1]) < kTiny) ed[3] = ed[1];
    }
    s->edges = 4;
  }
  s->top = 1e300, s->bottom = -1e300;
  for (int i = 0; i < s->discs; ++i) {
    s->top = std::min(s->top, s->disc[i].y - s->disc[i].r);
    s->bottom = std::max(s->bottom, s->disc[i].y + s->disc[i].r);
  }
}

}  // namespace

int RasteriseCapsule(double x0, double y0, double r0, double x1, double y1, double r1,
                     int pageWidth, int pageHeight, CoverageSink sink, void* user, bool upward) {
  std::vector<int32_t> acc;
  std::vector<uint8_t> bytes;
  try {
    acc.assign(static_cast<size_t>(pageWidth) + kCoverageSlack, 0);
    bytes.assign(static_cast<size_t>(pageWidth) + kCoverageSlack, 0);
  } catch (const std::bad_alloc&) {
    Message(" Not enough memory");
    return -1;
  }
  Shape s;
  BuildShape(x0, y0, r0, x1, y1, r1, &s);
  // A slab ends where an arc or a tangent edge begins or ends, and at the rows' edges. Each disc
  // is four arcs, so that a boundary within a slab runs one way only.
  int64_t breaks[10];
  int nBreaks = 0;
  for (int i = 0; i < s.discs; ++i) {
    breaks[nBreaks++] = Fix(s.disc[i].y - s.disc[i].r);
    breaks[nBreaks++] = Fix(s.disc[i].y);
    breaks[nBreaks++] = Fix(s.disc[i].y + s.disc[i].r);
  }
  if (s.edges) {  // the tangent points: the ends of edges 0 and 2
    for (int i : {0, 2}) {
      breaks[nBreaks++] = Fix(s.edge[i][1]);
      breaks[nBreaks++] = Fix(s.edge[i][3]);
    }
  }
  std::sort(breaks, breaks + nBreaks);
  const int64_t top = Fix(s.top), bottom = Fix(s.bottom);
  const int yFirst = static_cast<int>(std::max<int64_t>(0, top >> 16));
  const int yLast = static_cast<int>(std::min<int64_t>(pageHeight - 1, (bottom - 1) >> 16));
  Row row{acc.data(), static_cast<int>(acc.size()), 0, 0};
  for (int n = 0; n <= yLast - yFirst; ++n) {
    if (BreakFlag) return -1;
    const int y = upward ? yLast - n : yFirst + n;
    row.lo = row.width;
    row.hi = -1;
    const int64_t yEnd = std::min(static_cast<int64_t>(y + 1) << 16, bottom);
    int64_t ya = std::max(static_cast<int64_t>(y) << 16, top);
    double la = 0, ra = 0;
    bool haveA = Extent(s, ya / 65536.0, &la, &ra);
    const int64_t* next = std::upper_bound(breaks, breaks + nBreaks, ya);
    while (ya < yEnd) {
      int64_t yb = next < breaks + nBreaks && *next < yEnd ? *next++ : yEnd;
      double lb = 0, rb = 0;
      bool haveB = Extent(s, yb / 65536.0, &lb, &rb);
      // Grazing a pole: the slab begins or ends at a point.
      if (!haveA && haveB) la = ra = (lb + rb) / 2;
      if (haveA && !haveB) lb = rb = (la + ra) / 2;
      if (haveA || haveB) AddSlab(row, Fix(la), Fix(lb), Fix(ra), Fix(rb), yb - ya);
      ya = yb, la = lb, ra = rb, haveA = haveB;
    }
    if (row.hi < row.lo) continue;
    for (int i = row.lo; i <= row.hi; ++i) {
      bytes[i] = static_cast<uint8_t>(std::min((acc[i] + 128) >> 8, 255));
      acc[i] = 0;
    }
    sink(row.lo - kCoverageLead, y, row.hi - row.lo + 1, bytes.data() + row.lo, user);
  }
  return 0;
}

}  // namespace vela
