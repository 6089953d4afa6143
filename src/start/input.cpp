#include "start/input.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <utility>

#include "host/channel.h"
#include "host/host.h"
#include "start/main_loop.h"
#include "start/tablet.h"
#include "start/workspace.h"

namespace vela {

InputState In{};
int BreakFlag = 0;
uint32_t Stamp = 0;
int BusyMode = 0;
int DisplayLocked = 0;
int UserLocked = 0;

namespace {
std::deque<ExternalCommand*> g_commands;
std::deque<void*> g_images;
bool g_leftAsRight = false;  // a left press taken as right (alt or barrel) releases as right
InputEvent g_peeked{};
bool g_havePeeked = false;

int32_t Fixed(int pixel) {
  return (pixel << 16) + 0x8000;
}

InputEvent Blank() {
  InputEvent e{};
  e.pressure = 255;
  return e;
}

// Turns one host event into an event record; false for what the program never sees.
bool g_middleInLoop = false;

// The character that the host sends after a key whose press already ran an action.
int g_swallowKey = 0;

bool CharOfKey(int character, int key) {
  const int c = character & 255;
  if (key >= 96 && key <= 105) key = '0' + key - 96;
  if (key >= 'A' && key <= 'Z') return (c & ~0x20) == key || c == (key & 0x1F);
  return c == key;
}

bool FromHost(const HostEvent& h, InputEvent* out) {
  InputEvent e = Blank();
  e.qualifiers = h.qualifiers;
  e.x = Fixed(h.x);
  e.y = Fixed(h.y);
  switch (h.type) {
    case HostEventType::Quit:
      QuitRequest = 1;
      return false;
    case HostEventType::Expose:
    case HostEventType::Resize:
      if (Ws.screen) {
        HostScreen s = HostFramebuffer();
        Ws.screen->width = s.width;
        Ws.screen->height = s.height;
      }
      RedrawScreen();
      return false;
    case HostEventType::Move:
      e.type = kEventMove;
      break;
    case HostEventType::ButtonDown:
    case HostEventType::ButtonUp: {
      bool down = h.type == HostEventType::ButtonDown;
      e.type = kEventButton;
      e.x = Fixed(h.x);
      e.y = Fixed(h.y);
      if (h.button == kButtonLeft) {
        if (down) g_leftAsRight = (h.qualifiers & kQualAlt) != 0;
        e.code = g_leftAsRight ? (down ? kRightDown : kRightUp) : (down ? kLeftDown : kLeftUp);
        if (!down) g_leftAsRight = false;
      } else if (h.button == kButtonRight) {
        e.code = down ? kRightDown : kRightUp;
      } else {
        e.code = down ? kMiddleDown : kMiddleUp;
      }
      break;
    }
    case HostEventType::Wheel:
      e.type = kEventWheel;
      e.wheelY = h.wheelY;
      e.x = Fixed(In.winX);
      e.y = Fixed(In.winY);
      break;
    case HostEventType::KeyDown:
    case HostEventType::KeyUp:
      g_swallowKey = 0;
      e.type = kEventKey;
      e.code = h.type == HostEventType::KeyDown ? h.key : h.key + kKeyRelease;
      e.x = Fixed(In.winX);
      e.y = Fixed(In.winY);
      if (h.type == HostEventType::KeyDown) {
        if (h.key == kKeyDelete) {
          if (!BusyMode) BreakFlag = 1;
        } else {
          BreakFlag = 0;
        }
      }
      break;
    case HostEventType::Text:
      if (g_swallowKey && CharOfKey(h.character, std::exchange(g_swallowKey, 0))) return false;
      e.type = kEventKey;
      e.code = kCharacterCode;
      e.character = h.character;
      e.x = Fixed(In.winX);
      e.y = Fixed(In.winY);
      break;
    case HostEventType::Drop: {
      e.type = kEventDrop;
      char* name = static_cast<char*>(std::malloc(h.path.size() + 1));
      if (!name) return false;  // no memory: the event is lost, the queue goes on
      std::memcpy(name, h.path.c_str(), h.path.size() + 1);
      e.payload = name;
      e.x = Fixed(In.winX);
      e.y = Fixed(In.winY);
      break;
    }
    case HostEventType::None:
      return false;
  }
  bool keepPosition = e.type != kEventMove && e.type != kEventButton;
  int32_t x = e.x, y = e.y;
  if (TabletRead(&e) && e.type == kEventButton && (e.code == kLeftDown)) {
    // A barrel button held with the tip press is a right press.
    e.code = kRightDown;
    g_leftAsRight = true;
  }
  if (keepPosition && !e.moved) e.x = x, e.y = y;
  *out = e;
  return true;
}
}  // namespace

InputHooks& Input() {
  static InputHooks hooks;
  return hooks;
}

bool PollEvent(int allowInjected, InputEvent* event) {
  if (allowInjected && !g_images.empty()) {
    *event = Blank();
    event->type = kEventClipImage;
    event->payload = g_images.front();
    g_images.pop_front();
    return true;
  }
  if (allowInjected && !g_commands.empty()) {
    *event = Blank();
    event->type = kEventCommand;
    event->command = g_commands.front();
    g_commands.pop_front();
    return true;
  }
  if (g_havePeeked) {
    *event = g_peeked;
    g_havePeeked = false;
    return true;
  }
  HostEvent h;
  while (HostPollEvent(&h)) {
    if (UserLocked && HostIsUserInput(h.type)) continue;
    if (FromHost(h, event)) return true;
  }
  return false;
}

void WaitEvent(int mode) {
  if (mode > 1 && (g_havePeeked || !g_images.empty() || !g_commands.empty())) return;
  // Headless, the channel's wait is the real one: the host's clock there is virtual.
  if (ChannelIsOpen() && ChannelPump(HostHeadless() ? 20 : 0)) return;
  HostWaitEvent(20);
}

double TimeNow() {
  return static_cast<double>(HostMilliseconds()) / 1000.0;
}

void UpdateInputState(const InputEvent& e, bool setEdges) {
  if (e.type == kEventButton) {
    switch (e.code) {
      case kLeftUp:
        if (In.leftDown) {
          In.leftDown = 0;
          In.clickState = -1;
        }
        break;
      case kLeftDown:
        if (In.rightDown && setEdges) break;
        In.leftDown = 1;
        if (setEdges) {
          In.leftEdge = 1;
          In.clickState = 1;
          In.pressure = 255;
          In.pressureLow = 0;
        }
        break;
      case kRightUp:
        if (In.rightDown) {
          In.rightDown = 0;
          In.clickState = -2;
        }
        break;
      case kRightDown:
        if (In.leftDown && setEdges) break;
        In.rightDown = 1;
        if (setEdges) {
          In.rightEdge = 1;
          In.clickState = 2;
          In.pressure = 255;
          In.pressureLow = 0;
        }
        break;
      case kMiddleDown:
        g_middleInLoop = false;  // the main loop claims it after this
        break;
      default:
        break;
    }
  }
  In.pressure = e.pressure < 0 ? 0 : e.pressure > 255 ? 255 : e.pressure;
  In.pressureLow = e.pressureLow;
  In.winXF = e.x;
  In.winYF = e.y;
  In.winX = e.x >> 16;
  In.winY = e.y >> 16;
  int32_t px, py;
  if (Input().pageFromWindow) {
    Input().pageFromWindow(e.x, e.y, &px, &py);
  } else {
    px = e.x - (Ws.pageX << 16);
    py = e.y - (Ws.pageY << 16);
  }
  if (Input().snapToGrid) Input().snapToGrid(&px, &py);
  In.pageXF = px;
  In.pageYF = py;
  In.pageX = px >> 16;
  In.pageY = py >> 16;
  bool press = e.type == kEventButton && (e.code == kLeftDown || e.code == kRightDown);
  if (press) {
    In.clickX = In.pageX;
    In.clickY = In.pageY;
  }
}

namespace {
void HandleKey(const InputEvent& e) {
  if (e.code == kCharacterCode)
    In.lastChar = e.character;
  else
    In.lastKey = e.code;
  if (BusyMode) {
    if (In.shift && In.control) BusyMode = 0;
    return;
  }
  if (DisplayLocked) {
    if (e.code == kKeySpace || (e.code == kCharacterCode && e.character == ' ')) {
      DisplayLocked = Ws.displayLocked = 0;
      RedrawScreen();
    }
    return;
  }
  if (Input().gadgetActive && Input().gadgetActive()) return;
  if (Ws.modalWindow) return;
  if (In.leftDown || In.rightDown || !Input().keyMap) return;
  // The bubble goes before the key's action, which may put a Requester where it stood.
  if (Loop().closeBubble) Loop().closeBubble();
  Input().keyMap(e.code, e.character);
}
}  // namespace

void DispatchEvent(const InputEvent& e) {
  In.shift = (e.qualifiers & kQualShift) != 0;
  In.control = (e.qualifiers & kQualControl) != 0;
  In.alt = (e.qualifiers & kQualAlt) != 0;
  switch (e.type) {
    case kEventMove:
    case kEventButton:
      UpdateInputState(e, true);
      // The toolbar toggles on a middle click that the main loop saw whole; a press that a
      // Requester or a menu took, or its release, does nothing more.
      if (e.type == kEventButton && e.code == kMiddleDown) g_middleInLoop = true;
      if (e.type == kEventButton && e.code == kMiddleUp && std::exchange(g_middleInLoop, false) &&
          !(Input().gadgetActive && Input().gadgetActive()) && !BusyMode && Input().toggleToolbar)
        Input().toggleToolbar();
      break;
    case kEventKey:
      HandleKey(e);
      break;
    case kEventCommand:
      if (Input().runCommand)
        Input().runCommand(e.command);
      else if (Input().releaseExternal)
        Input().releaseExternal(e.command);
      break;
    case kEventClipImage:
      if (Input().pasteImage) Input().pasteImage(e.payload);
      break;
    case kEventDrop:
      if (Input().dropFile) Input().dropFile(static_cast<const char*>(e.payload));
      std::free(e.payload);
      break;
    case kEventWheel:
      if (In.leftDown || In.rightDown) break;
      if (Input().wheelTool && e.wheelY) Input().wheelTool(e.wheelY > 0 ? 1 : -1);
      break;
    default:
      break;
  }
}

int ModalStep(int mode) {
  InputEvent e;
  if (!PollEvent(0, &e)) {
    if (mode == 10 && !In.leftDown && !In.rightDown) WaitEvent(0);
    return 0;
  }
  In.shift = (e.qualifiers & kQualShift) != 0;
  In.control = (e.qualifiers & kQualControl) != 0;
  In.alt = (e.qualifiers & kQualAlt) != 0;
  if (e.type == kEventMove || e.type == kEventButton) {
    int before = In.clickState;
    In.clickState = 0;
    UpdateInputState(e, true);
    int now = In.clickState;
    if (!now) In.clickState = before;
    return now;
  }
  if (e.type == kEventKey) {
    if (e.code == kCharacterCode)
      In.lastChar = e.character;
    else
      In.lastKey = e.code;
    if (e.code == kKeyF9 && In.control && Input().screenGrab) Input().screenGrab();
    return 4;
  }
  if (e.type == kEventDrop) std::free(e.payload);
  return 0;
}

void SwallowCharOfKey(int key) {
  g_swallowKey = key;
}

void QueueExternalCommand(ExternalCommand* command) {
  g_commands.push_back(command);
}
void QueueClipboardImage(void* block) {
  g_images.push_back(block);
}
bool InjectedPending() {
  return !g_commands.empty() || !g_images.empty();
}

void DrainInjected(void (*freeImage)(void*)) {
  for (ExternalCommand* c : g_commands)
    if (Input().releaseExternal) Input().releaseExternal(c);
  g_commands.clear();
  for (void* b : g_images)
    if (freeImage) freeImage(b);
  g_images.clear();
}

void ResetInput() {
  In = InputState{};
  In.pressure = 255;
  BreakFlag = 0;
  BusyMode = 0;
  DisplayLocked = 0;
  UserLocked = 0;
  g_leftAsRight = false;
  g_havePeeked = false;
  g_commands.clear();
  g_images.clear();
}

}  // namespace vela
