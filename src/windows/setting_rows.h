// Rows of settings for the small settings Windows: a switch, or a slider with its label, a step
// button on each side and the value. A row reads and writes its value through two functions,
// so a Window only lists its rows and the setters keep their own rules.
#pragma once

#include <array>
#include <vector>

#include "windows/window.h"

namespace vela {

enum RowKind : int { kRowSwitch, kRowSlider };

struct SettingRow {
  const char* label;
  RowKind kind;
  int minimum, maximum;  // the stored value's range
  bool percent;          // stored 0..255, shown and stepped as 0..100
  int (*get)(int arg);
  void (*set)(int arg, int value);
  int arg;
  const char* help;
  const char* action = nullptr;
  int (*limit)(int arg) = nullptr;  // a maximum that moves with other settings
};

struct RowSet {
  std::vector<SettingRow> rows;
  std::vector<std::array<char, 16>> texts;  // the value shown at a slider's right
  std::vector<int> shown;                   // the value each row was last drawn with
  int firstId = 500;                        // row i uses ids firstId + 8·i .. + 7
};

constexpr int kRowHeight = 17;

// A slider across x .. x + width - 1 with its label right-aligned before it, or a switch from x
// of that width. Call after every row is in the set: the value texts must not move.
void AddRowGadgets(std::vector<Gadget>* out, RowSet* set, int index, int x, int y, int width);
// True when the gadget belongs to a row; the row's value is then changed and shown.
bool RowEvent(Window* window, RowSet* set, Gadget* gadget, int code);
// Draws the rows whose value changed since they were drawn (all of them with all set).
void RefreshRows(Window* window, RowSet* set, bool all);

// Shown value of a stored one, and back.
int RowShown(const SettingRow& row, int stored);
int RowStored(const SettingRow& row, int shown);

}  // namespace vela
