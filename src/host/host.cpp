#include "host/host.h"
#include "host/host_internal.h"
#include "host/keys.h"
#include "host/tablet_xi.h"

#include <SDL.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <deque>
#include <vector>

namespace vela {

namespace {

// A queued event; a headless pen packet waits with its event, so that an event never reads the
// pressure of one behind it.
struct Queued {
  HostEvent event;
  bool hasPacket = false;
  HostTabletPacket packet{};
};

struct HostState {
  bool open = false;
  bool headless = true;
  std::vector<uint32_t> frame;
  int width = 0;
  int height = 0;
  SDL_Window* window = nullptr;
  SDL_Renderer* renderer = nullptr;
  SDL_Texture* texture = nullptr;
  std::deque<Queued> queue;
  bool virtualClock = false;
  int64_t clock = 0;
  // Headless feed.
  std::vector<TimedEvent> feed;
  size_t next = 0;
  int64_t endTime = 0;
  bool hold = false;
  bool quitSent = false;
  std::deque<HostTabletPacket> packets;
  int headlessPressure = -1;
};

HostState g_host;

void ResizeFrame(int w, int h) {
  g_host.width = w;
  g_host.height = h;
  g_host.frame.assign(static_cast<size_t>(w) * h, 0xFF000000u);
}

bool MakeTexture(std::string* error) {
  if (g_host.texture) SDL_DestroyTexture(g_host.texture);
  g_host.texture = SDL_CreateTexture(g_host.renderer, SDL_PIXELFORMAT_ARGB8888,
                                     SDL_TEXTUREACCESS_STREAMING, g_host.width, g_host.height);
  if (!g_host.texture) {
    if (error) *error = SDL_GetError();
    return false;
  }
  SDL_SetTextureBlendMode(g_host.texture, SDL_BLENDMODE_NONE);
  return true;
}

uint32_t Qualifiers(uint16_t mod) {
  uint32_t q = 0;
  if (mod & KMOD_SHIFT) q |= kQualShift;
  if (mod & KMOD_CTRL) q |= kQualControl;
  if (mod & KMOD_ALT) q |= kQualAlt;
  return q;
}

int HostButtonOf(uint8_t b) {
  switch (b) {
    case SDL_BUTTON_LEFT:
      return kButtonLeft;
    case SDL_BUTTON_RIGHT:
      return kButtonRight;
    case SDL_BUTTON_MIDDLE:
      return kButtonMiddle;
    default:
      return 0;
  }
}

// Translates one SDL event; false when it means nothing to the program.
bool Translate(const SDL_Event& e, HostEvent* out) {
  HostEvent ev;
  switch (e.type) {
    case SDL_QUIT:
      ev.type = HostEventType::Quit;
      break;
    case SDL_WINDOWEVENT:
      if (e.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
        ResizeFrame(e.window.data1, e.window.data2);
        if (!MakeTexture(nullptr)) return false;
        ev.type = HostEventType::Resize;
      } else if (e.window.event == SDL_WINDOWEVENT_EXPOSED) {
        ev.type = HostEventType::Expose;
      } else {
        return false;
      }
      break;
    case SDL_MOUSEMOTION:
      ev.type = HostEventType::Move;
      ev.x = e.motion.x;
      ev.y = e.motion.y;
      break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
      ev.type = e.type == SDL_MOUSEBUTTONDOWN ? HostEventType::ButtonDown : HostEventType::ButtonUp;
      ev.button = HostButtonOf(e.button.button);
      ev.x = e.button.x;
      ev.y = e.button.y;
      if (!ev.button) return false;
      break;
    case SDL_MOUSEWHEEL:
      ev.type = HostEventType::Wheel;
      ev.wheelY = e.wheel.y;
      break;
    case SDL_KEYDOWN:
    case SDL_KEYUP: {
      int key = HostKeyFromScancode(e.key.keysym.scancode);
      if (key <= 0) return false;
      ev.type = e.type == SDL_KEYDOWN ? HostEventType::KeyDown : HostEventType::KeyUp;
      ev.key = key;
      ev.qualifiers = Qualifiers(e.key.keysym.mod);
      // SDL sends no text with control held; the program expects the control character.
      if (e.type == SDL_KEYDOWN && (e.key.keysym.mod & KMOD_CTRL) && key >= 'A' && key <= 'Z') {
        HostEvent text;
        text.type = HostEventType::Text;
        text.character = key - 'A' + 1;
        text.qualifiers = ev.qualifiers;
        *out = ev;
        g_host.queue.push_back({text});
        return true;
      }
      *out = ev;
      return true;
    }
    case SDL_TEXTINPUT: {
      // One event per character; characters outside CP1252 are dropped.
      std::vector<int> chars = Cp1252FromUtf8(e.text.text);
      if (chars.empty()) return false;
      uint32_t q = Qualifiers(SDL_GetModState());
      for (size_t i = 1; i < chars.size(); ++i) {
        HostEvent t;
        t.type = HostEventType::Text;
        t.character = chars[i];
        t.qualifiers = q;
        g_host.queue.push_back({t});
      }
      ev.type = HostEventType::Text;
      ev.character = chars[0];
      ev.qualifiers = q;
      *out = ev;
      return true;
    }
    case SDL_DROPFILE:
      ev.type = HostEventType::Drop;
      ev.path = e.drop.file ? e.drop.file : "";
      SDL_free(e.drop.file);
      break;
    default:
      return false;
  }
  ev.qualifiers = Qualifiers(SDL_GetModState());
  *out = ev;
  return true;
}

}  // namespace

bool HostIsUserInput(HostEventType type) {
  switch (type) {
    case HostEventType::Move:
    case HostEventType::ButtonDown:
    case HostEventType::ButtonUp:
    case HostEventType::Wheel:
    case HostEventType::KeyDown:
    case HostEventType::KeyUp:
    case HostEventType::Text:
      return true;
    default:
      return false;
  }
}

bool HostHasDisplay() {
  const char* x = std::getenv("DISPLAY");
  const char* w = std::getenv("WAYLAND_DISPLAY");
  return (x && *x) || (w && *w);
}

bool HostOpen(const HostConfig& config, std::string* error) {
  if (g_host.open) return true;
  g_host.headless = config.headless || !HostHasDisplay();
  g_host.virtualClock = g_host.headless;
  g_host.clock = 0;
  if (g_host.headless) {
    if (config.width < 1 || config.height < 1) {
      if (error) *error = "bad screen size";
      return false;
    }
    ResizeFrame(config.width, config.height);
    g_host.open = true;
    return true;
  }
  if (SDL_Init(SDL_INIT_VIDEO | SDL_INIT_TIMER) != 0) {
    if (error) *error = SDL_GetError();
    return false;
  }
  SDL_EventState(SDL_DROPFILE, SDL_ENABLE);
  g_host.window =
      SDL_CreateWindow(config.title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                       config.width, config.height, SDL_WINDOW_RESIZABLE | SDL_WINDOW_MAXIMIZED);
  if (g_host.window) g_host.renderer = SDL_CreateRenderer(g_host.window, -1, 0);
  if (!g_host.window || !g_host.renderer) {
    if (error) *error = SDL_GetError();
    HostClose();
    return false;
  }
  int w = 0, h = 0;
  SDL_GetWindowSize(g_host.window, &w, &h);
  ResizeFrame(w, h);
  if (!MakeTexture(error)) {
    HostClose();
    return false;
  }
  g_host.open = true;
  XiTabletOpen(g_host.window);
  HostPresent(0, 0, w, h);
  return true;
}

void HostClose() {
  if (g_host.texture) SDL_DestroyTexture(g_host.texture);
  if (g_host.renderer) SDL_DestroyRenderer(g_host.renderer);
  if (g_host.window) SDL_DestroyWindow(g_host.window);
  if (!g_host.headless) SDL_Quit();
  g_host.texture = nullptr;
  g_host.renderer = nullptr;
  g_host.window = nullptr;
  g_host.frame.clear();
  g_host.frame.shrink_to_fit();
  XiTabletClose();
  g_host.queue.clear();
  g_host.feed.clear();
  g_host.next = 0;
  g_host.quitSent = false;
  g_host.packets.clear();
  g_host.width = g_host.height = 0;
  g_host.open = false;
}

bool HostIsOpen() {
  return g_host.open;
}
bool HostHeadless() {
  return g_host.headless;
}

HostScreen HostFramebuffer() {
  HostScreen s;
  s.width = g_host.width;
  s.height = g_host.height;
  s.stride = g_host.width;
  s.pixels = g_host.frame.empty() ? nullptr : g_host.frame.data();
  return s;
}

void HostPresent(int x, int y, int w, int h) {
  if (!g_host.open || g_host.headless || !g_host.texture) return;
  if (x < 0) {
    w += x;
    x = 0;
  }
  if (y < 0) {
    h += y;
    y = 0;
  }
  if (x + w > g_host.width) w = g_host.width - x;
  if (y + h > g_host.height) h = g_host.height - y;
  if (w <= 0 || h <= 0) return;
  SDL_Rect r{x, y, w, h};
  SDL_UpdateTexture(g_host.texture, &r,
                    g_host.frame.data() + static_cast<size_t>(y) * g_host.width + x,
                    g_host.width * 4);
  SDL_RenderCopy(g_host.renderer, g_host.texture, nullptr, nullptr);
  SDL_RenderPresent(g_host.renderer);
}

bool HostIconic() {
  if (!g_host.window) return false;
  return (SDL_GetWindowFlags(g_host.window) & SDL_WINDOW_MINIMIZED) != 0;
}

void HostPinPointer(bool on) {
  if (g_host.window) SDL_SetWindowGrab(g_host.window, on ? SDL_TRUE : SDL_FALSE);
}

bool HostSetFullScreen(bool on) {
  if (!g_host.window) return false;
  return SDL_SetWindowFullscreen(g_host.window, on ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0) == 0;
}

// Kept also headless, so a run without a window can still be asked for its title.
static std::string& TitleText() {
  static std::string title = "Vela";
  return title;
}

void HostSetTitle(const char* title) {
  TitleText() = title ? title : "";
  if (g_host.window) SDL_SetWindowTitle(g_host.window, TitleText().c_str());
}

const std::string& HostTitle() {
  return TitleText();
}

void HostDesktopSize(int* width, int* height) {
  *width = g_host.width;
  *height = g_host.height;
  if (g_host.window) {
    SDL_DisplayMode mode;
    if (SDL_GetDesktopDisplayMode(SDL_GetWindowDisplayIndex(g_host.window), &mode) == 0) {
      *width = mode.w;
      *height = mode.h;
    }
  }
}

namespace {
// Moves feed events whose time has come into the queue; after the last one, and once the clock
// has passed the last wait, the run is told to end.
void PumpFeed() {
  while (g_host.next < g_host.feed.size() && g_host.feed[g_host.next].time <= g_host.clock) {
    TimedEvent& te = g_host.feed[g_host.next++];
    Queued q{std::move(te.event)};
    HostEventType t = q.event.type;
    if (te.pressure >= 0 && (t == HostEventType::Move || t == HostEventType::ButtonDown ||
                             t == HostEventType::ButtonUp)) {
      HostTabletPacket p;
      p.x = (q.event.x << 16) + 0x8000;
      p.y = (q.event.y << 16) + 0x8000;
      p.pressure = te.pressure;
      p.pressureMin = 0;
      p.pressureMax = 255;
      p.buttons = (te.buttons & 1u) | ((te.buttons & 2u) ? 2u : 0u);
      q.hasPacket = true;
      q.packet = p;
    }
    g_host.queue.push_back(std::move(q));
  }
  if (!g_host.hold && !g_host.quitSent && g_host.next >= g_host.feed.size() &&
      g_host.clock >= g_host.endTime && g_host.queue.empty()) {
    g_host.quitSent = true;
    Queued q;
    q.event.type = HostEventType::Quit;
    g_host.queue.push_back(std::move(q));
  }
}
}  // namespace

void SetTimedEvents(std::vector<TimedEvent> events, int64_t endTime) {
  g_host.feed = std::move(events);
  g_host.next = 0;
  g_host.endTime = endTime;
  g_host.quitSent = false;
}

void HostHoldOpen(bool hold) {
  g_host.hold = hold;
}

bool HostTabletOpen() {
  return g_host.headless || XiTabletPresent();
}

int HostTabletPackets(HostTabletPacket* out, int max) {
  if (!g_host.headless) return XiTabletPackets(out, max);
  int n = 0;
  while (n < max && !g_host.packets.empty()) {
    out[n++] = g_host.packets.front();
    g_host.packets.pop_front();
  }
  return n;
}

void HostSetHeadlessPressure(int pressure) {
  g_host.headlessPressure = pressure;
}

bool HostPollEvent(HostEvent* event) {
  if (g_host.headless) PumpFeed();
  if (!g_host.queue.empty()) {
    Queued& q = g_host.queue.front();
    if (q.hasPacket) g_host.packets.push_back(q.packet);
    *event = std::move(q.event);
    g_host.queue.pop_front();
    return true;
  }
  if (g_host.headless) return false;
  SDL_Event e;
  while (SDL_PollEvent(&e))
    if (Translate(e, event)) return true;
  return false;
}

bool HostWaitEvent(int timeoutMs) {
  if (g_host.headless) {
    PumpFeed();
    if (!g_host.queue.empty() || timeoutMs == 0) return !g_host.queue.empty();
    int64_t target = g_host.clock + (timeoutMs < 0 ? INT64_MAX / 2 : timeoutMs);
    int64_t due = g_host.next < g_host.feed.size() ? g_host.feed[g_host.next].time : g_host.endTime;
    if (g_host.hold && g_host.next >= g_host.feed.size()) due = target;
    g_host.clock = std::max(g_host.clock, std::min(target, due));
    PumpFeed();
    return !g_host.queue.empty();
  }
  if (!g_host.queue.empty()) return true;
  SDL_Event e;
  int got = timeoutMs < 0 ? SDL_WaitEvent(&e) : SDL_WaitEventTimeout(&e, timeoutMs);
  if (!got) return false;
  HostEvent ev;
  if (Translate(e, &ev)) g_host.queue.push_back({std::move(ev)});
  return true;
}

void HostPushEvent(const HostEvent& event) {
  g_host.queue.push_back({event});
}

int64_t HostMilliseconds() {
  if (g_host.virtualClock) return g_host.clock;
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void HostSetVirtualClock(bool on) {
  g_host.virtualClock = on;
  g_host.clock = 0;
}

void HostAdvanceClock(int64_t ms) {
  g_host.clock += ms;
}

}  // namespace vela
