#include "host/keys.h"

#include <cstdint>

namespace vela {

int HostKeyFromScancode(SDL_Scancode c) {
  if (c >= SDL_SCANCODE_A && c <= SDL_SCANCODE_Z) return 'A' + (c - SDL_SCANCODE_A);
  if (c >= SDL_SCANCODE_1 && c <= SDL_SCANCODE_9) return '1' + (c - SDL_SCANCODE_1);
  if (c == SDL_SCANCODE_0) return '0';
  if (c >= SDL_SCANCODE_F1 && c <= SDL_SCANCODE_F12) return 112 + (c - SDL_SCANCODE_F1);
  if (c >= SDL_SCANCODE_KP_1 && c <= SDL_SCANCODE_KP_9) return 97 + (c - SDL_SCANCODE_KP_1);
  switch (c) {
    case SDL_SCANCODE_BACKSPACE: return 8;
    case SDL_SCANCODE_TAB: return 9;
    case SDL_SCANCODE_RETURN: case SDL_SCANCODE_KP_ENTER: return 13;
    case SDL_SCANCODE_LSHIFT: case SDL_SCANCODE_RSHIFT: return 16;
    case SDL_SCANCODE_LCTRL: case SDL_SCANCODE_RCTRL: return 17;
    case SDL_SCANCODE_LALT: case SDL_SCANCODE_RALT: return 18;
    case SDL_SCANCODE_PAUSE: return 19;
    case SDL_SCANCODE_CAPSLOCK: return 20;
    case SDL_SCANCODE_ESCAPE: return 27;
    case SDL_SCANCODE_SPACE: return 32;
    case SDL_SCANCODE_PAGEUP: return 33;
    case SDL_SCANCODE_PAGEDOWN: return 34;
    case SDL_SCANCODE_END: return 35;
    case SDL_SCANCODE_HOME: return 36;
    case SDL_SCANCODE_LEFT: return 37;
    case SDL_SCANCODE_UP: return 38;
    case SDL_SCANCODE_RIGHT: return 39;
    case SDL_SCANCODE_DOWN: return 40;
    case SDL_SCANCODE_PRINTSCREEN: return 44;
    case SDL_SCANCODE_INSERT: return 45;
    case SDL_SCANCODE_DELETE: return 46;
    case SDL_SCANCODE_KP_0: return 96;
    case SDL_SCANCODE_KP_MULTIPLY: return 106;
    case SDL_SCANCODE_KP_PLUS: return 107;
    case SDL_SCANCODE_KP_MINUS: return 109;
    case SDL_SCANCODE_KP_PERIOD: return 110;
    case SDL_SCANCODE_KP_DIVIDE: return 111;
    case SDL_SCANCODE_NUMLOCKCLEAR: return 144;
    case SDL_SCANCODE_SCROLLLOCK: return 145;
    case SDL_SCANCODE_SEMICOLON: return 186;
    case SDL_SCANCODE_EQUALS: return 187;
    case SDL_SCANCODE_COMMA: return 188;
    case SDL_SCANCODE_MINUS: return 189;
    case SDL_SCANCODE_PERIOD: return 190;
    case SDL_SCANCODE_SLASH: return 191;
    case SDL_SCANCODE_GRAVE: return 192;
    case SDL_SCANCODE_LEFTBRACKET: return 219;
    case SDL_SCANCODE_BACKSLASH: return 220;
    case SDL_SCANCODE_RIGHTBRACKET: return 221;
    case SDL_SCANCODE_APOSTROPHE: return 222;
    case SDL_SCANCODE_NONUSBACKSLASH: return 226;
    default: return 0;
  }
}

namespace {
// The code points that CP1252 places at 0x80..0x9F; 0 where it has none.
const uint16_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

int ToCp1252(uint32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<int>(cp);
  for (int i = 0; i < 32; ++i)
    if (kCp1252High[i] && kCp1252High[i] == cp) return 0x80 + i;
  return -1;
}
}  // namespace

std::vector<int> Cp1252FromUtf8(const char* text) {
  std::vector<int> out;
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  while (s && *s) {
    uint32_t cp;
    int extra;
    if (*s < 0x80) cp = *s, extra = 0;
    else if ((*s & 0xE0) == 0xC0) cp = *s & 0x1F, extra = 1;
    else if ((*s & 0xF0) == 0xE0) cp = *s & 0x0F, extra = 2;
    else if ((*s & 0xF8) == 0xF0) cp = *s & 0x07, extra = 3;
    else { ++s; continue; }
    ++s;
    bool ok = true;
    for (int i = 0; i < extra; ++i, ++s) {
      if ((*s & 0xC0) != 0x80) { ok = false; break; }
      cp = (cp << 6) | (*s & 0x3F);
    }
    if (!ok) continue;
    int c = ToCp1252(cp);
    if (c > 0) out.push_back(c);
  }
  return out;
}

}  // namespace vela
