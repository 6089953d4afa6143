// The platform layer: one host window (SDL2) or a screen in memory (headless), its events and
// its clock. Everything above sees the same interface either way.
#pragma once

#include <cstdint>
#include <string>

namespace vela {

struct HostConfig {
  bool headless = false;
  int width = 1280;  // headless screen size
  int height = 800;
  std::string title = "Vela";
};

// The screen as memory: 32-bit words in the pixel order of the program, top row first.
struct HostScreen {
  int width = 0;
  int height = 0;
  int stride = 0;  // in pixels
  uint32_t* pixels = nullptr;
};

enum class HostEventType {
  None,
  Quit,    // the window was closed
  Expose,  // the window needs its picture again
  Resize,  // the client area changed size; the framebuffer has the new size
  Move,
  ButtonDown,
  ButtonUp,
  Wheel,
  KeyDown,
  KeyUp,
  Text,
  Drop,
};

enum HostButton : int { kButtonLeft = 1, kButtonMiddle = 2, kButtonRight = 3 };
enum HostQualifier : uint32_t { kQualShift = 2, kQualControl = 4, kQualAlt = 8 };

struct HostEvent {
  HostEventType type = HostEventType::None;
  int x = 0, y = 0;   // window pixels
  int button = 0;     // HostButton
  int key = 0;        // host key number (virtual-key numbering)
  int character = 0;  // CP1252
  int wheelY = 0;     // notches, up positive
  uint32_t qualifiers = 0;
  std::string path;  // Drop
};

bool HostHasDisplay();  // DISPLAY or WAYLAND_DISPLAY is set
// Pointer, wheel, key and text events: what the user does, as against what the window reports.
bool HostIsUserInput(HostEventType type);
bool HostOpen(const HostConfig& config, std::string* error);
void HostClose();
bool HostIsOpen();
bool HostHeadless();
HostScreen HostFramebuffer();
// Makes a rectangle of the framebuffer visible in the window (no-op headless).
void HostPresent(int x, int y, int w, int h);
bool HostIconic();
// Keeps the pointer inside the window, or lets it go; no-op headless.
void HostPinPointer(bool on);
// The window covers the desktop, or goes back to its frame; false headless or when refused.
bool HostSetFullScreen(bool on);
void HostDesktopSize(int* width, int* height);
// The title of the window's frame; headless runs keep it too.
void HostSetTitle(const char* title);
const std::string& HostTitle();

// Never blocks; false when nothing is queued.
bool HostPollEvent(HostEvent* event);
// Blocks up to timeoutMs (negative: no limit) until an event is queued; false on time-out.
bool HostWaitEvent(int timeoutMs);
// Queues an event as if the host had sent it (headless input, tests).
void HostPushEvent(const HostEvent& event);

// Milliseconds of the host clock; headless runs may drive it by hand for reproducibility.
int64_t HostMilliseconds();
void HostSetVirtualClock(bool on);
void HostAdvanceClock(int64_t ms);

// Writes 32-bit pixels (bytes blue, green, red, alpha) as a PNG, through a temporary file that is
// renamed over the target. With alpha false the alpha byte is dropped.
bool HostWritePng(const char* path, const uint32_t* pixels, int width, int height, int stride,
                  bool alpha, std::string* error);

}  // namespace vela

namespace vela {

// A tablet packet: what the pen reported with one event.
struct HostTabletPacket {
  int cursor = 0;        // which pen end or puck
  uint32_t buttons = 0;  // bit 0 the tip
  int32_t x = 0, y = 0;  // window position, 16.16, with the sub-pixel fraction
  int pressure = 0;      // raw, within the device range
  int pressureMin = 0, pressureMax = 1023;
};

// True when a tablet is present (XInput2 with a pressure axis, or a headless "pressure" line).
bool HostTabletOpen();
// Takes up to max packets queued since the last call, oldest first; returns how many.
int HostTabletPackets(HostTabletPacket* out, int max);
// Headless: the pen pressure of the following events (0..255), as if a tablet sent it.
void HostSetHeadlessPressure(int pressure);

}  // namespace vela

namespace vela {

// Headless input from a file, one event a line: "move x y", "down left|right|middle",
// "up left|right|middle", "key [shift+][ctrl+][alt+]NAME", "char C", "wheel dy", "wait ms",
// "pressure p|none", "drop PATH"; blank lines and lines starting with "#" are skipped. Events are
// delivered in order, each at the time the waits before it add up to, on a clock that only they
// advance. False with the line and reason in *error for a file that cannot be read or a bad line.
bool HostLoadEvents(const std::string& text, std::string* error);
bool HostLoadEventFile(const std::string& path, std::string* error);
// Headless: once the events are consumed the host reports Quit, ending the run, unless held.
void HostHoldOpen(bool hold);
// The host key number of a key name ("Delete", "F9", "A", "Left" ...), or -1.
int HostKeyByName(const std::string& name);

}  // namespace vela
