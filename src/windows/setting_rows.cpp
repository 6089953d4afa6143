#include "windows/setting_rows.h"

#include <algorithm>
#include <cstdio>

#include "pixels/primitives.h"
#include "start/input.h"
#include "start/main_loop.h"

namespace vela {

namespace {

enum Part : int { kMinus = 0, kTrack = 1, kPlus = 2, kValue = 3, kLabel = 4 };
constexpr int kIds = 8;
constexpr int kStepWidth = 13, kValueWidth = 26;

int IndexOf(const RowSet& set, const Gadget* g) {
  int i = (g->id - set.firstId) / kIds;
  return g->id >= set.firstId && i < static_cast<int>(set.rows.size()) ? i : -1;
}

int Maximum(const SettingRow& r) {
  return r.limit ? r.limit(r.arg) : r.maximum;
}
int ShownMax(const SettingRow& r) {
  return r.percent ? Maximum(r) * 100 / 255 : Maximum(r);
}
int ShownMin(const SettingRow& r) {
  return r.percent ? r.minimum * 100 / 255 : r.minimum;
}

void Blit(Window* w, Gadget* g) {
  RedrawGadget(g, w);
  BlitGadget(w, g);
}

// The track: a groove and a knob at the value's place.
void DrawTrack(Window* w, Gadget* g, const SettingRow& r, int stored) {
  RedrawGadget(g, w);
  Block* b = w->picture;
  const int x0 = g->left + 4, x1 = g->right - 4, cy = (g->top + g->bottom) / 2;
  FillRect(b, x0, cy - 1, x1, cy, 0xFF505050);
  FillRect(b, x0, cy + 1, x1, cy + 1, 0xFFE8E8E8);
  const int lo = ShownMin(r), hi = ShownMax(r);
  const int v = std::clamp(RowShown(r, stored), lo, hi);
  const int kx = hi > lo ? x0 + (v - lo) * (x1 - x0) / (hi - lo) : x0;
  FillRect(b, kx - 2, g->top + 3, kx + 2, g->bottom - 3, 0xFF303030);
  FillRect(b, kx - 1, g->top + 4, kx + 1, g->bottom - 4, 0xFFF0F0F0);
  BlitGadget(w, g);
}

void Show(Window* w, RowSet* set, int i) {
  const SettingRow& r = set->rows[i];
  const int v = r.get(r.arg);
  set->shown[i] = v;
  if (r.kind == kRowSwitch) {
    Gadget* g = FindGadget(set->firstId + kIds * i, w->gadgets);
    if (!g) return;
    g->flags = v ? g->flags | kGadSelected : g->flags & ~kGadSelected;
    Blit(w, g);
    return;
  }
  std::snprintf(set->texts[i].data(), set->texts[i].size(), r.percent ? "%d%%" : "%d",
                RowShown(r, v));
  if (Gadget* g = FindGadget(set->firstId + kIds * i + kTrack, w->gadgets)) DrawTrack(w, g, r, v);
  if (Gadget* g = FindGadget(set->firstId + kIds * i + kValue, w->gadgets)) Blit(w, g);
}

void SetShown(Window* w, RowSet* set, int i, int shown) {
  const SettingRow& r = set->rows[i];
  shown = std::clamp(shown, ShownMin(r), ShownMax(r));
  r.set(r.arg, std::clamp(RowStored(r, shown), r.minimum, Maximum(r)));
  Show(w, set, i);
}

// The knob follows the pointer until the button goes up.
void DragTrack(Window* w, RowSet* set, int i, Gadget* g) {
  const SettingRow& r = set->rows[i];
  const uint32_t serial = w->serial;
  const int x0 = g->left + 4, x1 = g->right - 4;
  const int lo = ShownMin(r), hi = ShownMax(r);
  auto at = [&] {
    int x = In.winX - w->left;
    int v = lo + ((x - x0) * (hi - lo) * 2 + (x1 - x0)) / (2 * std::max(1, x1 - x0));
    SetShown(w, set, i, v);
  };
  at();
  while (In.leftDown && !ExitFlag && !QuitRequest && WindowAlive(w, serial)) {
    if (PumpEvents(1) == -1) break;
    if (WindowAlive(w, serial)) at();
  }
}

}  // namespace

int RowShown(const SettingRow& row, int stored) {
  return row.percent ? stored * 100 / 255 : stored;
}

int RowStored(const SettingRow& row, int shown) {
  return row.percent ? shown * 255 / 100 : shown;
}

void AddRowGadgets(std::vector<Gadget>* out, RowSet* set, int index, int x, int y, int width) {
  if (set->texts.size() != set->rows.size()) {
    set->texts.assign(set->rows.size(), {});
    set->shown.assign(set->rows.size(), -1);
  }
  const SettingRow& r = set->rows[index];
  const int id = set->firstId + kIds * index;
  auto make = [&](int l, int r2, int gid, uint32_t flags) {
    Gadget g;
    g.left = static_cast<int16_t>(l), g.top = static_cast<int16_t>(y);
    g.right = static_cast<int16_t>(r2), g.bottom = static_cast<int16_t>(y + kRowHeight - 1);
    g.id = gid;
    g.flags = flags;
    g.help = r.help;
    g.action = r.action;
    return g;
  };
  if (r.kind == kRowSwitch) {
    Gadget g = make(x, x + width - 1, id, kGadSwitchLabel | kGadNoPressLook);
    g.label = r.label;
    out->push_back(g);
    return;
  }
  const int right = x + width - 1;
  const int valueLeft = right - kValueWidth + 1;
  const int plusLeft = valueLeft - 2 - kStepWidth;
  Gadget label = make(x - 2, x - 2, id + kLabel, kGadInert);
  label.label = r.label;
  label.labelFlags = kLabelLeft;
  label.help = nullptr;
  out->push_back(label);
  Gadget minus = make(x, x + kStepWidth - 1, id + kMinus, kGadRepeat);
  minus.label = "-";
  minus.labelFlags = kLabelInside;
  out->push_back(minus);
  Gadget track = make(x + kStepWidth + 1, plusLeft - 2, id + kTrack,
                      kGadActOnPress | kGadNoPressLook | kGadSunk);
  out->push_back(track);
  Gadget plus = make(plusLeft, plusLeft + kStepWidth - 1, id + kPlus, kGadRepeat);
  plus.label = "+";
  plus.labelFlags = kLabelInside;
  out->push_back(plus);
  Gadget value = make(valueLeft, right, id + kValue, kGadInert | kGadColour);
  value.colour = 0xFFF4F4F4;
  value.label = set->texts[index].data();
  value.labelFlags = kLabelInside;
  out->push_back(value);
}

bool RowEvent(Window* w, RowSet* set, Gadget* g, int code) {
  if (!g) return false;
  const int i = IndexOf(*set, g);
  if (i < 0) return false;
  const SettingRow& r = set->rows[i];
  const int part = (g->id - set->firstId) % kIds;
  if (r.kind == kRowSwitch) {
    if (code == kCodeLeftRelease) {
      r.set(r.arg, r.get(r.arg) ? 0 : 1);
      Show(w, set, i);
    }
    return true;
  }
  if (part == kTrack && code == kCodeLeftPress) DragTrack(w, set, i, g);
  if ((part == kMinus || part == kPlus) && code == kCodeLeftPress) {
    // A percent of 255 may round back to the same shown value: step on until it shows.
    const int dir = part == kPlus ? 1 : -1, now = RowShown(r, r.get(r.arg));
    for (int t = now + dir; t >= ShownMin(r) && t <= ShownMax(r); t += dir)
      if (RowShown(r, RowStored(r, t)) != now) {
        SetShown(w, set, i, t);
        break;
      }
  }
  return true;
}

void RefreshRows(Window* w, RowSet* set, bool all) {
  if (set->shown.size() != set->rows.size()) return;
  for (size_t i = 0; i < set->rows.size(); ++i) {
    const SettingRow& r = set->rows[i];
    if (all || r.get(r.arg) != set->shown[i]) Show(w, set, static_cast<int>(i));
  }
}

}  // namespace vela
