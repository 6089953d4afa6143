#include "start/ask.h"

namespace vela {

namespace {
int FirstButton(const char*, const char*, const char*) {
  return 1;
}
bool KeepText(const char*, char*, int) {
  return true;
}

const AskHandlers kFirstButton = {FirstButton, KeepText};
const AskHandlers* g_handlers = &kFirstButton;
}  // namespace

int Ask(const char* text, const char* yes, const char* no) {
  return g_handlers->ask(text, yes, no);
}

bool AskText(const char* title, char* text, int capacity) {
  return capacity > 0 && g_handlers->askText(title, text, capacity);
}

const AskHandlers* SetAskHandlers(const AskHandlers* handlers) {
  const AskHandlers* old = g_handlers;
  g_handlers = handlers ? handlers : &kFirstButton;
  return old;
}

}  // namespace vela
