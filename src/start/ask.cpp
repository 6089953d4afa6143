#include "start/ask.h"

namespace vela {

namespace {
const AskHandlers kFirstButton = {};
const AskHandlers* g_handlers = &kFirstButton;
}  // namespace

int Ask(const char* text, const char* yes, const char* no) {
  return g_handlers->ask ? g_handlers->ask(text, yes, no) : 1;
}

int Ask3(const char* text, const char* yes, const char* no, const char* third) {
  return g_handlers->ask3 ? g_handlers->ask3(text, yes, no, third) : 0;
}

bool AskText(const char* title, char* text, int capacity) {
  if (capacity <= 0) return false;
  return g_handlers->askText ? g_handlers->askText(title, text, capacity) : true;
}

int AskNumber(const char* title, int* value, int minimum, int maximum) {
  if (!value) return -1;
  return g_handlers->askNumber ? g_handlers->askNumber(title, value, minimum, maximum) : 0;
}

int AskOption(const char* text, const char* yes, const char* no, const char* option, bool* value) {
  if (!value) return Ask(text, yes, no);
  return g_handlers->askOption ? g_handlers->askOption(text, yes, no, option, value) : 1;
}

const AskHandlers* SetAskHandlers(const AskHandlers* handlers) {
  const AskHandlers* old = g_handlers;
  g_handlers = handlers ? handlers : &kFirstButton;
  return old;
}

}  // namespace vela
