// Questions to the user. Until the Requesters are installed every question takes the answer of
// its first button; the window system installs the real dialogs through SetAskHandlers.
#pragma once

namespace vela {

// A null member keeps the first-button answer for that call.
struct AskHandlers {
  // 1 for the first button, 0 for the second, -1 when the process is stopping.
  int (*ask)(const char* text, const char* yes, const char* no) = nullptr;
  // Edits text (capacity bytes with its NUL) under a title; false on cancel.
  bool (*askText)(const char* title, char* text, int capacity) = nullptr;
  // The button's number - 1, or -1 when the process is stopping.
  int (*ask3)(const char* text, const char* yes, const char* no, const char* third) = nullptr;
  // 0 with *value changed within minimum..maximum, -1 on cancel.
  int (*askNumber)(const char* title, int* value, int minimum, int maximum) = nullptr;
  // Ask with a switch under the text that the user may flip before answering.
  int (*askOption)(const char* text, const char* yes, const char* no, const char* option,
                   bool* value) = nullptr;
};

int Ask(const char* text, const char* yes, const char* no);
int Ask3(const char* text, const char* yes, const char* no, const char* third);
bool AskText(const char* title, char* text, int capacity);
int AskNumber(const char* title, int* value, int minimum, int maximum);
int AskOption(const char* text, const char* yes, const char* no, const char* option, bool* value);
// Returns the previous handlers; null restores the first-button answers.
const AskHandlers* SetAskHandlers(const AskHandlers* handlers);

}  // namespace vela
