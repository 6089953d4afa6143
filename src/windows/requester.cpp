// Requesters and the gauge. A Requester's Gadget table lives for the call only: its Window is
// made, drawn once, shown, waited on and deleted. The gauge is one Window kept between calls.
#include "windows/requester.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/host.h"
#include "pixels/primitives.h"
#include "script/dispatcher.h"
#include "start/ask.h"
#include "start/gauge.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"

namespace vela {

void (*RequesterShown)(Window* window) = nullptr;

namespace {

constexpr Pixel kInk = 0xFF000000;
constexpr Pixel kShadow = 0xFFA0A0A0;
constexpr Pixel kPaper = 0xFFFFFFFF;
constexpr int kLineStep = 13;
constexpr int kTextX = 16, kTextY = 15;
constexpr uint32_t kButtonFlags = kGadPair3;
constexpr uint32_t kFrameFlags = kGadInert | kGadBox;
constexpr int kFirstId = 2, kSecondId = 1, kFieldId = 3, kOptionId = 4;
constexpr int kNoAnswer = INT_MIN;
constexpr int kKeyBackspace = 8, kKeyTab = 9, kKeyReturn = 13;
constexpr int kKeyEnd = 35, kKeyHome = 36, kKeyLeft = 37, kKeyRight = 39;
constexpr int kFieldPad = 3;
// A Requester larger than any screen helps nobody, and gadget rows hold 16-bit coordinates.
constexpr int kMaxLines = 200, kMaxTextWidth = 2000, kMaxLabelWidth = 600;
constexpr int kPollLimit = 100000;

MessageSink g_fallback = nullptr;

bool Stopping() {
  return ExitFlag || QuitRequest || SignalQuit;
}

bool CanShow() {
  return HostIsOpen() && HostFramebuffer().pixels;
}

// The host's own box: the terminal.
void Fallback(const char* text) {
  if (g_fallback)
    g_fallback(text);
  else
    std::fprintf(stderr, "vela: %s\n", text);
}

int Qualifiers() {
  uint32_t q =
      (In.shift ? kQualShift : 0u) | (In.control ? kQualControl : 0u) | (In.alt ? kQualAlt : 0u);
  return static_cast<int>(q);
}

bool Inside(const Window* w, int x, int y) {
  return x >= w->left && x < w->right && y >= w->top && y < w->bottom;
}

Gadget* GadgetUnder(Window* w) {
  if (!Inside(w, In.winX, In.winY)) return nullptr;
  return GadgetAt(In.winX - w->left, In.winY - w->top, w->gadgets);
}

struct Lines {
  std::vector<std::string> rows;
  int width = 0;
};

// Text wider than the screen is cut, so that the buttons stay in reach of the pointer.
int MaxTextWidth() {
  const int screen = Ws.screen ? Ws.screen->width : HostFramebuffer().width;
  return std::clamp(screen - 41, 0, kMaxTextWidth);
}

// At least one line; the widest sets the width.
Lines SplitLines(const char* text) {
  Lines l;
  std::string s = text ? text : "";
  size_t start = 0;
  while (static_cast<int>(l.rows.size()) < kMaxLines) {
    size_t nl = s.find('\n', start);
    l.rows.push_back(s.substr(start, nl == std::string::npos ? std::string::npos : nl - start));
    if (nl == std::string::npos) break;
    start = nl + 1;
  }
  for (const std::string& r : l.rows) l.width = std::max(l.width, TextWidth(r.c_str()));
  l.width = std::min(l.width, MaxTextWidth());
  return l;
}

int LabelWidth(const char* label) {
  return std::min(TextWidth(label), kMaxLabelWidth);
}

// Ask takes the standard word for an empty label too; Ask3 only for a missing one.
const char* Label(const char* label, const char* standard, bool emptyToo = true) {
  return label && (*label || !emptyToo) ? label : standard;
}

Gadget Button(int left, int top, int width, int bottom, int id, const char* label) {
  Gadget g = GadgetRow(left, top, left + width, bottom, id, kButtonFlags);
  g.label = label;
  g.labelFlags = kLabelInside;
  return g;
}

// Text lines from y in steps of 13; at x, or centred; black, with the grey shadow when asked.
void DrawLines(Window* w, const Lines& l, int x, int y, bool centre, bool shadow) {
  for (size_t i = 0; i < l.rows.size(); ++i) {
    const char* t = l.rows[i].c_str();
    int tx = centre ? (w->width - TextWidth(t)) / 2 : x;
    int ty = y + static_cast<int>(i) * kLineStep;
    if (shadow) DrawText(w->picture, tx + 1, ty + 1, t, kShadow, 1, 1, w->width - 1, w->height - 1);
    DrawText(w->picture, tx, ty, t, kInk, 1, 1, w->width - 1, w->height - 1);
  }
}

struct Requester {
  Window* window = nullptr;
  std::vector<Gadget> rows;  // ends with id 0; the Window points into it
};

bool MakeWindow(Requester* r, int width, int height) {
  r->rows.push_back(GadgetRow(0, 0, -1, -1, kGadFrame, kFrameFlags));
  r->rows.push_back(Gadget{});
  r->window = CreateWindow(width, height, 0);
  if (!r->window) return false;
  r->window->gadgets = r->rows.data();
  DrawWindow(r->window);
  return true;
}

// Message (one label), Ask (two) and Ask3 (three): the text over a row of buttons.
bool BuildQuestion(Requester* r, const char* text, const char* const* labels, const int* ids,
                   int count, const char* option = nullptr) {
  Lines l = SplitLines(text);
  // An option takes a line of its own under the text.
  const int optionLine = static_cast<int>(l.rows.size());
  if (option) {
    l.rows.emplace_back();
    l.width = std::max(l.width, LabelWidth(option) + 24);
  }
  int lines = static_cast<int>(l.rows.size());
  int widths[3], sum = 0;
  for (int i = 0; i < count; ++i) sum += widths[i] = LabelWidth(labels[i]) + 16;
  int inner;
  if (count == 1) {
    widths[0] = std::max(30, widths[0]);
    inner = std::max(l.width, widths[0]);
  } else {
    // Buttons 16 apart between the margins of 8 on the left and 9 on the right.
    inner = std::max(l.width, sum + 16 * (count - 2));
  }
  int width = inner + 33, height = lines * kLineStep + 50;
  int top = lines * kLineStep + 19, bottom = lines * kLineStep + 39;
  if (count == 1) {
    r->rows.push_back(Button((width - widths[0]) / 2, top, widths[0], bottom, ids[0], labels[0]));
  } else {
    r->rows.push_back(Button(8, top, widths[0], bottom, ids[0], labels[0]));
    if (count == 3)
      r->rows.push_back(Button((width - widths[1]) / 2, top, widths[1], bottom, ids[1], labels[1]));
    int last = count - 1;
    r->rows.push_back(
        Button(inner + 24 - widths[last], top, widths[last], bottom, ids[last], labels[last]));
  }
  if (option) {
    Gadget g = GadgetRow(kTextX, kTextY + optionLine * kLineStep - 3,
                         kTextX + LabelWidth(option) + 22, kTextY + optionLine * kLineStep + 13,
                         kOptionId, kGadSwitchLabel | kGadNoPressLook);
    g.label = option;
    r->rows.push_back(g);
  }
  if (!MakeWindow(r, width, height)) return false;
  DrawLines(r->window, l, kTextX, kTextY, false, true);
  return true;
}

// Shows the Requester, waits, and takes it away: the id of the answer, kFieldId when an edit in
// the field ended it, kNoAnswer when the process stops.
int Run(Requester* r, Gadget* field) {
  Window* w = r->window;
  ShowWindow(w);
  if (RequesterShown) RequesterShown(w);
  Gadget* answer = WaitRequester(w, field);
  int id = answer ? answer->id : kNoAnswer;
  if (WindowListed(w)) DeleteWindow(w);
  r->window = nullptr;
  return id;
}

// ---- Text fields ---------------------------------------------------------------------------

std::string g_clipboard;
FieldClipboard g_hostClipboard;

void ClipboardPut(const char* text) {
  if (g_hostClipboard.put)
    g_hostClipboard.put(text);
  else
    g_clipboard = text;
}

std::string ClipboardGet(int capacity) {
  if (g_hostClipboard.get) {
    std::vector<char> buf(static_cast<size_t>(capacity) + 1, 0);
    if (!g_hostClipboard.get(buf.data(), capacity + 1)) return {};
    return buf.data();
  }
  return g_clipboard.substr(0, static_cast<size_t>(capacity));
}

int CaretAt(const Gadget* g, int x) {
  auto* tf = static_cast<const TextField*>(g->extension);
  if (!tf || !tf->text) return 0;
  int len = static_cast<int>(std::strlen(tf->text));
  int pen = g->left + kFieldPad;
  for (int i = std::min(tf->scroll, len); i < len; ++i) {
    int cw = TextWidth(tf->text + i, 1);
    if (x < pen + cw / 2) return i;
    pen += cw;
  }
  return len;
}

void ShowField(Window* w, Gadget* g) {
  if (!w) return;
  CaretShown = true;
  RedrawGadget(g, w);
  BlitGadget(w, g);
}

// A number field takes digits anywhere and a sign where only blanks stand before it.
bool Accepts(const TextField* tf, const FieldEdit* fe, int at, unsigned char c) {
  if (c < 32 || c == 127) return false;
  if (!fe || !fe->number) return true;
  if (c >= '0' && c <= '9') return true;
  if (c != '-' && c != '+') return false;
  for (int i = 0; i < at; ++i)
    if (tf->text[i] != ' ') return false;
  return true;
}

void Remember(const TextField* tf, FieldEdit* fe) {
  if (fe && fe->previous) std::memcpy(fe->previous, tf->text, static_cast<size_t>(tf->capacity));
}

void Insert(TextField* tf, const FieldEdit* fe, const std::string& what) {
  int len = static_cast<int>(std::strlen(tf->text));
  for (unsigned char c : what) {
    if (len + 1 >= tf->capacity) break;
    if (!Accepts(tf, fe, tf->caret, c)) continue;
    std::memmove(tf->text + tf->caret + 1, tf->text + tf->caret,
                 static_cast<size_t>(len - tf->caret + 1));
    tf->text[tf->caret++] = static_cast<char>(c);
    ++len;
  }
}

// Removes [from, to) of the text.
void Erase(TextField* tf, int from, int to) {
  int len = static_cast<int>(std::strlen(tf->text));
  if (from >= to) return;
  std::memmove(tf->text + from, tf->text + to, static_cast<size_t>(len - to + 1));
  tf->caret = from;
}

// ---- The gauge -----------------------------------------------------------------------------

struct Gauge {
  Window* window = nullptr;
  uint32_t serial = 0;
  int last = 0;  // filled columns of the bar
};
Gauge g_gauge;

enum : int { kStopRow = 0, kBarRow = 1 };
Gadget g_gaugeRows[4];

Window* LiveGauge() {
  Window* w = g_gauge.window;
  return WindowListed(w) && w->serial == g_gauge.serial ? w : nullptr;
}

void DropGauge() {
  if (Window* w = LiveGauge()) DeleteWindow(w);
  g_gauge.window = nullptr;
}

// A press on " Stop ": shown, and counted if the release comes on the button.
bool PressOnStop() {
  Window* w = LiveGauge();
  if (!w || !w->shown || WindowAt(In.winX, In.winY) != w) return false;
  Gadget* stop = &g_gaugeRows[kStopRow];
  if (GadgetUnder(w) != stop) return false;
  InvertGadget(stop, w);
  while (In.leftDown && !Stopping() && ModalEvent() != kEndOfInput) {
  }
  if (!LiveGauge()) return false;
  InvertGadget(stop, w);
  return !In.leftDown && WindowAt(In.winX, In.winY) == w && GadgetUnder(w) == stop;
}

// Everything queued: the stop keys and the " Stop " button count, the rest of the interface
// sleeps and its events are dropped.
void PollGauge(int limit) {
  bool stop = BreakFlag != 0;
  for (int i = 0; i < limit; ++i) {
    In.lastKey = In.lastChar = 0;
    int quit = QuitRequest;
    int r = PumpEvents(0);
    if (TookFeedEnd(quit)) break;
    if (r == 4) {
      if (In.lastChar
              ? In.lastChar == ' '
              : In.lastKey == kKeySpace || In.lastKey == kKeyDelete || In.lastKey == kKeyEscape)
        stop = true;
    } else if (r == 1 && PressOnStop()) {
      stop = true;
    }
    if (r == 0 && !HostWaitEvent(0)) break;
  }
  BreakFlag = stop ? 1 : 0;
}

bool AskTextHandler(const char* title, char* text, int capacity) {
  return RequesterAskText(title, text, capacity) == 0;
}

}  // namespace

// ---- Text fields ---------------------------------------------------------------------------

void SetFieldClipboard(const FieldClipboard* clipboard) {
  g_hostClipboard = clipboard ? *clipboard : FieldClipboard{};
}

int EditField(Window* window, Gadget* g, int code, int character, int modifiers) {
  if (!g || (g->flags & kGadSunk)) return kEditIgnored;
  auto* tf = static_cast<TextField*>(g->extension);
  if (!tf || !tf->text || tf->capacity < 1) return kEditIgnored;
  auto* fe = static_cast<FieldEdit*>(g->linkA);
  if (fe) fe->lastKey = TimeNow();
  if (fe && fe->filter && fe->filter(window, g, code, character)) return kEditGoOn;
  bool isChar = code == kCharacterCode;
  if (!isChar && (code & kKeyRelease)) return kEditIgnored;
  int len = static_cast<int>(std::strlen(tf->text));
  tf->caret = std::clamp(tf->caret, 0, len);
  // Deleting goes to the end with Shift or Control; the caret jumps with Control alone.
  const bool wide = (modifiers & (kQualShift | kQualControl)) != 0;
  const bool jump = (modifiers & kQualControl) != 0;
  int c = isChar ? (character & 0xFF) : 0;
  bool prefix = fe && fe->prefix;
  if (fe) fe->prefix = false;
  if (prefix && (c == 'D' || c == 'C')) {
    tf->caret = c == 'D' ? std::max(0, tf->caret - 1) : std::min(len, tf->caret + 1);
    ShowField(window, g);
    return kEditGoOn;
  }
  if (!isChar) {
    switch (code) {
      case kKeyEnd:
        tf->caret = len;
        break;
      case kKeyHome:
        tf->caret = 0;
        break;
      case kKeyLeft:
        tf->caret = jump ? 0 : std::max(0, tf->caret - 1);
        break;
      case kKeyRight:
        tf->caret = jump ? len : std::min(len, tf->caret + 1);
        break;
      case kKeyBackspace:
        c = 8;
        break;
      case kKeyDelete:
        c = 127;
        break;
      case kKeyReturn:
        c = 13;
        break;
      case kKeyTab:
        c = 9;
        break;
      default:
        return kEditIgnored;
    }
    if (!c) {
      ShowField(window, g);
      return kEditGoOn;
    }
  }
  switch (c) {
    case 13:
      return kEditDone;
    case 9:
      return kEditNext;
    case 155:
      if (fe) fe->prefix = true;
      return kEditGoOn;
    case 3:
      ClipboardPut(tf->text);
      return kEditGoOn;
    case 26:
      if (!fe || !fe->previous) return kEditGoOn;
      for (int i = 0; i < tf->capacity; ++i) std::swap(tf->text[i], fe->previous[i]);
      tf->text[tf->capacity - 1] = 0;
      tf->caret = static_cast<int>(std::strlen(tf->text));
      break;
    case 22:
      Remember(tf, fe);
      Insert(tf, fe, ClipboardGet(tf->capacity - 1));
      break;
    case 24:
      Remember(tf, fe);
      Erase(tf, 0, len);
      break;
    case 8:
      Remember(tf, fe);
      Erase(tf, wide ? 0 : std::max(0, tf->caret - 1), tf->caret);
      break;
    case 127:
      Remember(tf, fe);
      Erase(tf, tf->caret, wide ? len : std::min(len, tf->caret + 1));
      break;
    default:
      if (!Accepts(tf, fe, tf->caret, static_cast<unsigned char>(c))) return kEditIgnored;
      if (len + 1 >= tf->capacity) return kEditGoOn;
      Remember(tf, fe);
      Insert(tf, fe, std::string(1, static_cast<char>(c)));
      break;
  }
  ShowField(window, g);
  return kEditGoOn;
}

// ---- Requesters ----------------------------------------------------------------------------

// While a question waits on a full screen, the pointer cannot leave it; a window on a desktop
// leaves the pointer free for the other programs.
class PinnedPointer {
 public:
  PinnedPointer() {
    if (g_pins++ == 0 && Ws.screen && Ws.screen->fullScreen) HostPinPointer(true);
  }
  ~PinnedPointer() {
    if (--g_pins == 0) HostPinPointer(false);
  }
  PinnedPointer(const PinnedPointer&) = delete;
  PinnedPointer& operator=(const PinnedPointer&) = delete;

 private:
  static inline int g_pins = 0;
};

Gadget* WaitRequester(Window* window, Gadget* field) {
  if (!window || !window->gadgets) return nullptr;
  const PinnedPointer pin;
  Window* savedModal = Ws.modalWindow;
  int savedBreak = BreakFlag;
  Ws.modalWindow = window;
  Gadget* first = window->gadgets[0].id ? &window->gadgets[0] : nullptr;
  Gadget* second = first && window->gadgets[1].id ? &window->gadgets[1] : first;
  if (field) ActivateTextField(window, field, 1000000);  // the caret goes to the end
  Gadget* pressed = nullptr;
  int pressedWith = 0;
  Gadget* answer = nullptr;
  auto unpress = [&] {
    if (pressed && !(pressed->flags & kGadNoPressLook)) InvertGadget(pressed, window);
    pressed = nullptr;
  };
  while (WindowListed(window)) {
    if (Stopping()) {
      // A headless feed that has ended is no stopping process: it takes the first button.
      if (HostHeadless() && !SignalQuit && !ExitFlag) answer = first;
      break;
    }
    int r = ModalEvent();
    if (r == kEndOfInput) {
      answer = first;
      break;
    }
    if (r == -3 && !In.leftDown && !In.rightDown) break;  // a third button: no answer
    if (r == 1 || r == 2) {
      Gadget* g = GadgetUnder(window);
      if (!g) {
        if (!Inside(window, In.winX, In.winY)) Beep();
        continue;
      }
      if (r == 2 && !(g->flags & kGadRightButton)) continue;
      if (g->flags & kGadTextField) {
        if (!(g->flags & kGadSunk))
          ActivateTextField(window, g, CaretAt(g, In.winX - window->left));
        continue;
      }
      if (Ws.activeGadgetWindow == window) CloseTextField(false);
      unpress();
      if (!(g->flags & kGadNoPressLook)) InvertGadget(g, window);
      pressed = g;
      pressedWith = r;
      if (g->flags & kGadActOnPress) {
        answer = g;
        break;
      }
    } else if (r == -1 || r == -2) {
      if (!pressed || r != -pressedWith) continue;
      Gadget* was = pressed;
      unpress();
      if (GadgetUnder(window) == was) {
        answer = was;
        break;
      }
    } else if (r == 4) {
      int code = In.lastChar ? kCharacterCode : In.lastKey;
      if (Ws.activeGadget && Ws.activeGadgetWindow == window) {
        Gadget* g = Ws.activeGadget;
        int e = EditField(window, g, code, In.lastChar, Qualifiers());
        if (e == kEditDone || e == kEditNext) {
          answer = g;
          break;
        }
        if (e != kEditIgnored) continue;
      }
      // Whatever the labels say: Return is the first row, Escape the second.
      int key = In.lastChar ? In.lastChar : In.lastKey;
      if (key == kKeyReturn) {
        answer = first;
        break;
      }
      if (key == kKeyEscape) {
        answer = second;
        break;
      }
    }
  }
  if (WindowListed(window)) {
    unpress();
    if (Ws.activeGadgetWindow == window) CloseTextField(false);
  }
  BreakFlag = savedBreak;  // a Delete typed into a field is no stop request
  Ws.modalWindow = savedModal;
  return answer;
}

void RequesterMessage(const char* text) {
  text = text ? text : "";
  // Headless, the run's error output keeps every message.
  if (!CanShow() || HostHeadless()) Fallback(text);
  if (!CanShow()) return;
  const char* labels[] = {" OK "};
  const int ids[] = {kFirstId};
  Requester r;
  if (!BuildQuestion(&r, text, labels, ids, 1)) {
    if (!HostHeadless()) Fallback(text);
    return;
  }
  Run(&r, nullptr);
}

int RequesterAsk(const char* text, const char* yes, const char* no) {
  const char* labels[] = {Label(yes, " Yes "), Label(no, " No ")};
  const int ids[] = {kFirstId, kSecondId};
  Requester r;
  if (!CanShow() || !BuildQuestion(&r, text, labels, ids, 2)) {
    Fallback(text ? text : "");
    return 1;
  }
  int id = Run(&r, nullptr);
  return id == kFirstId ? 1 : id == kSecondId ? 0 : -1;
}

int RequesterAsk3(const char* text, const char* yes, const char* no, const char* third) {
  const char* labels[] = {Label(yes, " Yes ", false), Label(no, " No ", false),
                          Label(third, " 42 ", false)};
  const int ids[] = {1, 2, 3};
  Requester r;
  if (!CanShow() || !BuildQuestion(&r, text, labels, ids, 3)) {
    Fallback(text ? text : "");
    return 0;
  }
  int id = Run(&r, nullptr);
  return id >= 1 && id <= 3 ? id - 1 : -1;
}

int RequesterAskOption(const char* text, const char* yes, const char* no, const char* option,
                       bool* value) {
  const char* labels[] = {Label(yes, " Yes "), Label(no, " No ")};
  const int ids[] = {kFirstId, kSecondId};
  Requester r;
  if (!CanShow() || !BuildQuestion(&r, text, labels, ids, 2, option ? option : "")) {
    Fallback(text ? text : "");
    return 1;
  }
  Window* w = r.window;
  Gadget* sw = FindGadget(kOptionId, w->gadgets);
  auto show = [&] {
    sw->flags = (sw->flags & ~kGadSelected) | (*value ? static_cast<uint32_t>(kGadSelected) : 0u);
    RedrawGadget(sw, w);
    BlitGadget(w, sw);
  };
  show();
  ShowWindow(w);
  if (RequesterShown) RequesterShown(w);
  int id = kNoAnswer;
  for (;;) {
    Gadget* answer = WaitRequester(w, nullptr);
    id = answer ? answer->id : kNoAnswer;
    if (id != kOptionId) break;
    *value = !*value;
    show();
  }
  if (WindowListed(w)) DeleteWindow(w);
  return id == kFirstId ? 1 : id == kSecondId ? 0 : -1;
}

namespace {

// The text or number prompt: the title, the field and " OK " and "Cancel".
struct Prompt {
  Requester r;
  std::vector<char> text, previous;
  TextField field{};
  FieldEdit edit;
};

bool BuildPrompt(Prompt* p, const char* title, const char* initial, int capacity, bool number) {
  p->text.assign(static_cast<size_t>(capacity), 0);
  std::strncpy(p->text.data(), initial, static_cast<size_t>(capacity) - 1);
  p->previous = p->text;
  p->field = TextField{p->text.data(), capacity, 0, 0};
  p->edit.previous = p->previous.data();
  p->edit.number = number;
  std::string line = title ? title : "";
  line = line.substr(0, line.find('\n'));
  Lines l;
  l.rows.push_back(line);
  l.width = std::min(TextWidth(line.c_str()), MaxTextWidth());
  int width = std::max(l.width + 32, 204), height = 76;
  int ok = LabelWidth(" OK ") + 16, cancel = LabelWidth("Cancel") + 16;
  p->r.rows.push_back(Button(8, height - 28, ok, height - 8, kFirstId, " OK "));
  p->r.rows.push_back(
      Button(width - 9 - cancel, height - 28, cancel, height - 8, kSecondId, "Cancel"));
  Gadget field = GadgetRow(8, 25, width - 9, 45, kFieldId, kGadTextField);
  field.extension = &p->field;
  field.linkA = &p->edit;
  p->r.rows.push_back(field);
  if (!MakeWindow(&p->r, width, height)) return false;
  DrawLines(p->r.window, l, 0, 9, true, true);
  return true;
}

}  // namespace

int RequesterAskText(const char* title, char* buffer, int maxLength) {
  if (!buffer || maxLength < 1) return -1;
  if (!CanShow()) return 0;  // nobody to ask: the text stands
  Prompt p;
  std::string initial(buffer, strnlen(buffer, static_cast<size_t>(maxLength) - 1));
  if (!BuildPrompt(&p, title, initial.c_str(), maxLength, false)) {
    Message(" Not enough memory");
    return -1;
  }
  int id = Run(&p.r, &p.r.rows[2]);
  if (id != kFirstId && id != kFieldId) return 1;
  std::memcpy(buffer, p.text.data(), static_cast<size_t>(maxLength));
  buffer[maxLength - 1] = 0;
  return 0;
}

int RequesterAskNumber(const char* title, int* value, int minimum, int maximum) {
  if (!value) return -1;
  if (minimum > maximum) std::swap(minimum, maximum);
  char initial[24];
  std::snprintf(initial, sizeof initial, "%11ld", static_cast<long>(*value));
  long v = *value;
  if (CanShow()) {
    Prompt p;
    if (!BuildPrompt(&p, title, initial, 16, true)) {
      Message(" Not enough memory");
      return -1;
    }
    int id = Run(&p.r, &p.r.rows[2]);
    if (id != kFirstId && id != kFieldId) return -1;
    v = std::strtol(p.text.data(), nullptr, 10);
  }
  *value = static_cast<int>(std::clamp<long>(v, minimum, maximum));
  return 0;
}

// ---- The gauge -----------------------------------------------------------------------------

void RequesterGaugeOpen(const char* title) {
  if (!GaugeEnabled) return;
  DropGauge();
  if (!CanShow()) return;
  Lines l = SplitLines(title);
  int lines = static_cast<int>(l.rows.size());
  int width = std::max(250, l.width + 20), height = kLineStep * lines + 82;
  int barLeft = (width - kGaugeBarWidth) / 2, barTop = height - 52, barBottom = height - 37;
  int stopWidth = LabelWidth(" Stop ") + 16;
  g_gaugeRows[kStopRow] =
      Button((width - stopWidth) / 2, height - 28, stopWidth, height - 8, 1, " Stop ");
  g_gaugeRows[kBarRow] = GadgetRow(barLeft, barTop, barLeft + kGaugeBarWidth - 1, barBottom, 2,
                                   kGadInert | kGadBox | kGadSunk);
  g_gaugeRows[2] = GadgetRow(0, 0, -1, -1, kGadFrame, kFrameFlags);
  g_gaugeRows[3] = Gadget{};
  Window* w = CreateWindow(width, height, 0);
  if (!w) return;  // the work goes on without its gauge
  w->gadgets = g_gaugeRows;
  DrawWindow(w);
  DrawLines(w, l, 0, kTextY, true, false);
  const struct {
    int dx;
    const char* text;
  } marks[] = {{-8, "0%"}, {90, "50%"}, {189, "100%"}};
  for (const auto& m : marks)
    DrawText(w->picture, barLeft + m.dx, barTop - 14, m.text, kInk, 1, 1, width - 1, height - 1);
  FillRect(w->picture, barLeft + 1, barTop + 1, barLeft + kGaugeBarWidth - 2, barBottom - 1,
           kPaper);
  g_gauge = {w, w->serial, 0};
  ShowWindow(w);
}

void RequesterGaugeUpdate(int done, int total) {
  if (!PollingHeld()) PollGauge(kPollLimit);
  Window* w = LiveGauge();
  if (total < 1 || !w) return;
  done = std::clamp(done, 0, total);
  int fill = static_cast<int>(static_cast<int64_t>(kGaugeBarWidth - 2) * done / total);
  const Gadget& bar = g_gaugeRows[kBarRow];
  int x0 = bar.left + 1, y0 = bar.top + 1, y1 = bar.bottom - 1;
  int shown = fill;
  if (fill < g_gauge.last) {
    FillRect(w->picture, x0, y0, x0 + kGaugeBarWidth - 3, y1, kPaper);
    shown = kGaugeBarWidth - 2;
  }
  if (fill > 0) FillRect(w->picture, x0, y0, x0 + fill - 1, y1, kInk);
  g_gauge.last = fill;
  if (shown > 0 && w->shown) RepaintRect(w, w->left + x0, w->top + y0, shown, y1 - y0 + 1);
}

void RequesterGaugeClose() {
  DropGauge();
  if (!PollingHeld()) PollGauge(1);
}

Window* GaugeWindow() {
  return LiveGauge();
}

void InstallRequesters() {
  static const AskHandlers kAsk = {RequesterAsk, AskTextHandler, RequesterAsk3, RequesterAskNumber,
                                   RequesterAskOption};
  SetAskHandlers(&kAsk);
  MessageSink old = SetMessageSink(RequesterMessage);
  if (old != RequesterMessage) g_fallback = old;
  static const GaugeHandlers kGauge = {RequesterGaugeOpen, RequesterGaugeUpdate,
                                       RequesterGaugeClose};
  SetGaugeHandlers(&kGauge);
}

}  // namespace vela
