// Exact-area coverage of the convex hull of two discs, slab by slab.
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
constexpr double kPi = 3.14159265358979323846;
constexpr int32_t kUnit = 255 * 256;  // one whole pixel of area in the accumulator

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

// Integral of a ramp rising from 0 at p to 1 at q and staying at 1, from -inf to x.
inline double RampArea(double x, double p, double q) {
  if (x <= p) return 0;
  if (q - p < 1e-12) return x - p;
  if (x <= q) return (x - p) * (x - p) / (2 * (q - p));
  return (q - p) * 0.5 + (x - q);
}

struct Row {
  int32_t* acc;  // index 0 is page x = -kCoverageLead
  int width;     // entries
  int lo, hi;    // touched, inclusive
};

// One slab: left boundary from l0 to l1, right from r0 to r1, height h (pixels).
void AddSlab(Row& row, double l0, double l1, double r0, double r1, double h) {
  double a = std::min(l0, l1), b = std::max(l0, l1);
  double c = std::min(r0, r1), d = std::max(r0, r1);
  if (d <= a) return;
  int first = static_cast<int>(std::floor(a)) + kCoverageLead;
  int last = static_cast<int>(std::ceil(d)) - 1 + kCoverageLead;
  first = std::max(first, 0);
  last = std::min(last, row.width - 1);
  if (first > last) return;
  row.lo = std::min(row.lo, first);
  row.hi = std::max(row.hi, last);
  const double scale = h * kUnit;
  const int32_t full = static_cast<int32_t>(scale + 0.5);
  for (int i = first; i <= last; ++i) {
    double x0 = i - kCoverageLead, x1 = x0 + 1;
    if (x0 >= b && x1 <= c) {
      row.acc[i] += full;
      continue;
    }
    double area =
        (RampArea(x1, a, b) - RampArea(x0, a, b)) - (RampArea(x1, c, d) - RampArea(x0, c, d));
    row.acc[i] += static_cast<int32_t>(area * scale + 0.5);
  }
}

// Heights at which a boundary piece begins or ends, and enough points on each arc that a chord
// between neighbours stays within 1/64 pixel of it.
void Breaks(const Shape& s, std::vector<double>& ys) {
  ys.clear();
  for (int i = 0; i < s.discs; ++i) {
    const Disc& d = s.disc[i];
    double step = std::sqrt(1.0 / (32.0 * std::max(d.r, 0.01)));
    int n = std::max(8, static_cast<int>(std::ceil(kPi / step)));
    for (int k = 0; k <= n; ++k) ys.push_back(d.y + d.r * std::cos(kPi * k / n));
  }
  for (int i = 0; i < s.edges; ++i) {
    ys.push_back(s.edge[i][1]);
    ys.push_back(s.edge[i][3]);
  }
  std::sort(ys.begin(), ys.end());
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
                     int pageWidth, int pageHeight, CoverageSink sink, void* user) {
  std::vector<int32_t> acc;
  std::vector<uint8_t> bytes;
  std::vector<double> ys;
  try {
    acc.assign(static_cast<size_t>(pageWidth) + kCoverageSlack, 0);
    bytes.assign(static_cast<size_t>(pageWidth) + kCoverageSlack, 0);
    ys.reserve(512);
  } catch (const std::bad_alloc&) {
    Message(" Not enough memory");
    return -1;
  }
  Shape s;
  BuildShape(x0, y0, r0, x1, y1, r1, &s);
  Breaks(s, ys);
  Row row{acc.data(), static_cast<int>(acc.size()), 0, 0};
  int yFirst = std::max(0, static_cast<int>(std::floor(s.top)));
  int yLast = std::min(pageHeight - 1, static_cast<int>(std::floor(s.bottom)));
  size_t next = 0;
  for (int y = yFirst; y <= yLast; ++y) {
    if (BreakFlag) return -1;
    row.lo = row.width;
    row.hi = -1;
    double ya = std::max<double>(y, s.top);
    double yEnd = std::min<double>(y + 1, s.bottom);
    while (next < ys.size() && ys[next] <= ya) ++next;
    double la = 0, ra = 0;
    bool haveA = Extent(s, ya, &la, &ra);
    while (ya < yEnd) {
      double yb = next < ys.size() && ys[next] < yEnd ? ys[next] : yEnd;
      double lb, rb;
      bool haveB = Extent(s, yb, &lb, &rb);
      if (!haveA && haveB) la = ra = (lb + rb) / 2;  // grazing a rim: the slab starts at a point
      if (haveB && yb > ya) AddSlab(row, la, lb, ra, rb, yb - ya);
      ya = yb, la = lb, ra = rb, haveA = haveB;
      while (next < ys.size() && ys[next] <= ya) ++next;
    }
    if (row.hi < row.lo) continue;
    for (int i = row.lo; i <= row.hi; ++i) {
      bytes[i] = static_cast<uint8_t>(std::clamp((acc[i] + 128) >> 8, 0, 255));
      acc[i] = 0;
    }
    sink(row.lo - kCoverageLead, y, row.hi - row.lo + 1, bytes.data() + row.lo, user);
  }
  return 0;
}

}  // namespace vela
