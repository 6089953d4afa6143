// Headless input: a file of timed events, delivered on a virtual clock so every run repeats.
#include <strings.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/host_internal.h"

namespace vela {

namespace {

struct KeyName {
  const char* name;
  int code;
};
const KeyName kKeyNames[] = {
    {"Backspace", 8}, {"Tab", 9},      {"Return", 13},   {"Enter", 13},   {"Shift", 16},
    {"Control", 17},  {"Ctrl", 17},    {"Alt", 18},      {"Pause", 19},   {"CapsLock", 20},
    {"Escape", 27},   {"Esc", 27},     {"Space", 32},    {"PageUp", 33},  {"PageDown", 34},
    {"End", 35},      {"Home", 36},    {"Left", 37},     {"Up", 38},      {"Right", 39},
    {"Down", 40},     {"Insert", 45},  {"Delete", 46},   {"Multiply", 106}, {"Add", 107},
    {"Subtract", 109}, {"Decimal", 110}, {"Divide", 111},
};

bool ParseInt(const std::string& s, long lo, long hi, int* out) {
  if (s.empty()) return false;
  char* end = nullptr;
  long v = std::strtol(s.c_str(), &end, 10);
  if (*end || v < lo || v > hi) return false;
  *out = static_cast<int>(v);
  return true;
}

int ButtonByName(const std::string& s) {
  if (s == "left") return kButtonLeft;
  if (s == "right") return kButtonRight;
  if (s == "middle") return kButtonMiddle;
  return 0;
}

}  // namespace

int HostKeyByName(const std::string& name) {
  if (name.size() == 1) {
    char c = name[0];
    if (c >= 'a' && c <= 'z') return c - 'a' + 'A';
    if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return c;
  }
  if ((name[0] == 'F' || name[0] == 'f') && name.size() <= 3) {
    int n;
    if (ParseInt(name.substr(1), 1, 24, &n)) return 111 + n;
  }
  for (const KeyName& k : kKeyNames)
    if (strcasecmp(k.name, name.c_str()) == 0) return k.code;
  return -1;
}

bool HostLoadEvents(const std::string& text, std::string* error) {
  std::vector<TimedEvent> events;
  std::istringstream in(text);
  std::string line;
  int64_t t = 0;
  int lineNo = 0;
  int x = 0, y = 0;
  uint32_t held = 0;  // buttons down, for the pen packets
  int pressure = -1;
  auto bad = [&](const std::string& why) {
    *error = "line " + std::to_string(lineNo) + ": " + why;
    return false;
  };
  while (std::getline(in, line)) {
    ++lineNo;
    if (line.size() > 4096) return bad("line too long");
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::istringstream words(line);
    std::string verb;
    if (!(words >> verb) || verb[0] == '#') continue;
    std::string a, b, extra;
    TimedEvent te;
    te.time = t;
    HostEvent& e = te.event;
    e.x = x;
    e.y = y;
    if (verb == "move") {
      if (!(words >> a >> b) || !ParseInt(a, -100000, 100000, &x) || !ParseInt(b, -100000, 100000, &y))
        return bad("move wants two whole numbers");
      e.type = HostEventType::Move;
      e.x = x;
      e.y = y;
    } else if (verb == "down" || verb == "up") {
      if (!(words >> a) || !(e.button = ButtonByName(a))) return bad(verb + " wants left, right or middle");
      e.type = verb == "down" ? HostEventType::ButtonDown : HostEventType::ButtonUp;
      uint32_t bit = e.button == kButtonLeft ? 1u : e.button == kButtonRight ? 2u : 4u;
      held = verb == "down" ? held | bit : held & ~bit;
    } else if (verb == "key") {
      if (!(words >> a)) return bad("key wants a name");
      std::string name = a;
      for (;;) {
        size_t plus = name.find('+');
        if (plus == std::string::npos || plus + 1 >= name.size()) break;
        std::string mod = name.substr(0, plus);
        if (strcasecmp(mod.c_str(), "shift") == 0) e.qualifiers |= kQualShift;
        else if (strcasecmp(mod.c_str(), "ctrl") == 0 || strcasecmp(mod.c_str(), "control") == 0)
          e.qualifiers |= kQualControl;
        else if (strcasecmp(mod.c_str(), "alt") == 0) e.qualifiers |= kQualAlt;
        else return bad("unknown modifier " + mod);
        name = name.substr(plus + 1);
      }
      e.key = HostKeyByName(name);
      if (e.key < 0) return bad("unknown key " + name);
      e.type = HostEventType::KeyDown;
      te.pressure = pressure;
      te.buttons = held;
      events.push_back(te);
      e.type = HostEventType::KeyUp;
    } else if (verb == "char") {
      std::string rest;
      std::getline(words, rest);
      size_t start = rest.find_first_not_of(' ');
      if (start == std::string::npos) return bad("char wants a character");
      unsigned char c = static_cast<unsigned char>(rest[start]);
      e.type = HostEventType::Text;
      e.character = c;
    } else if (verb == "wheel") {
      if (!(words >> a) || !ParseInt(a, -1000, 1000, &e.wheelY)) return bad("wheel wants a whole number");
      e.type = HostEventType::Wheel;
    } else if (verb == "wait") {
      int ms;
      if (!(words >> a) || !ParseInt(a, 0, 86400000, &ms)) return bad("wait wants milliseconds");
      t += ms;
      continue;
    } else if (verb == "pressure") {
      if (!(words >> a)) return bad("pressure wants 0..255 or none");
      if (a == "none") pressure = -1;
      else if (!ParseInt(a, 0, 255, &pressure)) return bad("pressure wants 0..255 or none");
      continue;
    } else if (verb == "drop") {
      std::string rest;
      std::getline(words, rest);
      size_t start = rest.find_first_not_of(' ');
      if (start == std::string::npos) return bad("drop wants a path");
      e.type = HostEventType::Drop;
      e.path = rest.substr(start);
    } else {
      return bad("unknown event " + verb);
    }
    if (words >> extra) return bad("unexpected " + extra);
    te.pressure = pressure;
    te.buttons = held;
    events.push_back(te);
  }
  SetTimedEvents(std::move(events), t);
  return true;
}

bool HostLoadEventFile(const std::string& path, std::string* error) {
  std::ifstream f(path, std::ios::binary);
  if (!f) {
    *error = "cannot read " + path;
    return false;
  }
  std::stringstream s;
  s << f.rdbuf();
  if (s.str().size() > (64u << 20)) {
    *error = path + " is too large";
    return false;
  }
  if (!HostLoadEvents(s.str(), error)) {
    *error = path + ": " + *error;
    return false;
  }
  return true;
}

}  // namespace vela
