// Questions to the user. Until the Requesters exist every question takes the answer of its first
// button; the window system installs the real dialogs through SetAskHandlers.
#pragma once

namespace vela {

struct AskHandlers {
  // 1 for the first button, 0 for the second (the last one is always cancel).
  int (*ask)(const char* text, const char* yes, const char* no);
  // Edits text (capacity bytes with its NUL) under a title; false on cancel.
  bool (*askText)(const char* title, char* text, int capacity);
};

int Ask(const char* text, const char* yes, const char* no);
bool AskText(const char* title, char* text, int capacity);
// Returns the previous handlers; null restores the first-button answers.
const AskHandlers* SetAskHandlers(const AskHandlers* handlers);

}  // namespace vela
