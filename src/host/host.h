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

bool HostHasDisplay();  // DISPLAY or WAYLAND_DISPLAY is set
bool HostOpen(const HostConfig& config, std::string* error);
void HostClose();
bool HostIsOpen();
bool HostHeadless();
HostScreen HostFramebuffer();
// Makes a rectangle of the framebuffer visible in the window (no-op headless).
void HostPresent(int x, int y, int w, int h);
bool HostIconic();
void HostSize(int* displayWidth, int* displayHeight);

// Writes 32-bit pixels (bytes blue, green, red, alpha) as a PNG, through a temporary file that is
// renamed over the target. With alpha false the alpha byte is dropped.
bool HostWritePng(const char* path, const uint32_t* pixels, int width, int height, int stride,
                  bool alpha, std::string* error);

}  // namespace vela
