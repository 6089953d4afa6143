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
  Quit,     // the window was closed
  Expose,   // the window needs its picture again
  Resize,   // the client area changed size; the framebuffer has the new size
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
  int x = 0, y = 0;  // window pixels
  int button = 0;    // HostButton
  int key = 0;       // host key number (virtual-key numbering)
  int character = 0; // CP1252
  int wheelY = 0;    // notches, up positive
  uint32_t qualifiers = 0;
  std::string path;  // Drop
};

bool HostHasDisplay();  // DISPLAY or WAYLAND_DISPLAY is set
bool HostOpen(const HostConfig& config, std::string* error);
void HostClose();
bool HostIsOpen();
bool HostHeadless();
HostScreen HostFramebuffer();
// Makes a rectangle of the framebuffer visible in the window (no-op headless).
void HostPresent(int x, int y, int w, int h);
bool HostIconic();
void HostDesktopSize(int* width, int* height);

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
