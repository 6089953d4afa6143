// Requesters: the small modal Windows through which the program asks and tells, and the gauge
// of long work with its " Stop " button. InstallRequesters puts them behind Message, Ask, Ask3,
// AskText, AskNumber and the gauge calls of src/start.
#pragma once

#include "windows/window.h"

namespace vela {

// ---- Text fields ---------------------------------------------------------------------------
// What a field keeps beside its TextField: the undo text and the number mode. A gadget points at
// it through linkA; a field without one edits all the same, only without undo.
struct FieldEdit {
  char* previous = nullptr;  // the text before the last change, capacity bytes
  bool number = false;       // digits only, a sign in first place
  // Sees each key first; true when it took the key.
  bool (*filter)(Window* window, Gadget* gadget, int code, int character) = nullptr;
  bool prefix = false;  // 155 came: a following 68 or 67 moves the caret
  double lastKey = 0;   // for the caret's blink
};

enum EditResult : int { kEditIgnored = -1, kEditGoOn = 0, kEditDone = 1, kEditNext = 2 };

// One key for a text field: code is a host key number, or kCharacterCode with a CP1252 character;
// modifiers are the qualifiers (2 shift, 4 control, 8 alt). Read-only fields (0x100) take nothing.
int EditField(Window* window, Gadget* gadget, int code, int character, int modifiers);

// The clipboard of the fields: the private one unless a host clipboard is set.
struct FieldClipboard {
  void (*put)(const char* text) = nullptr;
  // Writes up to capacity - 1 bytes and the nul; false when empty.
  bool (*get)(char* out, int capacity) = nullptr;
};
void SetFieldClipboard(const FieldClipboard* clipboard);

// ---- Requesters ----------------------------------------------------------------------------
// The modal wait: the gadget that ends it, the field when an edit in it ends, or null for a
// stopping process. A run with no person answers with the table's first row once its input is
// used up.
Gadget* WaitRequester(Window* window, Gadget* field);

void RequesterMessage(const char* text);
// 1 first button, 0 second; -1 when the process stops. Null or empty labels: " Yes ", " No ".
int RequesterAsk(const char* text, const char* yes, const char* no);
// The button's number - 1; null labels: " Yes ", " No ", " 42 ".
int RequesterAsk3(const char* text, const char* yes, const char* no, const char* third);
// Ask with a switch on a line under the text; *value follows the switch, whatever the answer.
int RequesterAskOption(const char* text, const char* yes, const char* no, const char* option,
                       bool* value);
// 0 on " OK " with the buffer changed, 1 on Cancel with it as it was, -1 without memory.
int RequesterAskText(const char* title, char* buffer, int maxLength);
// 0 with the value stored, inside minimum..maximum; -1 otherwise.
int RequesterAskNumber(const char* title, int* value, int minimum, int maximum);

// Called with each Requester once it is shown, before the wait (tests look at it here).
extern void (*RequesterShown)(Window* window);

// ---- The gauge -----------------------------------------------------------------------------
constexpr int kGaugeBarWidth = 205;
void RequesterGaugeOpen(const char* title);
// Polls (Space, Delete, Escape and " Stop " set the stop flag), then draws the bar.
void RequesterGaugeUpdate(int done, int total);
void RequesterGaugeClose();
// The open gauge's Window, or null.
Window* GaugeWindow();

// Message, the questions and the gauge through the Requesters.
void InstallRequesters();

}  // namespace vela
