// The protocol of the command line: forms, groups, names, numbers, answers and bounds.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/host.h"
#include "paint/brush.h"
#include "pixels/block.h"
#include "pixels/primitives.h"
#include "script/command_file.h"
#include "script/commands.h"
#include "script/dispatcher.h"
#include "start/ask.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {
namespace {

std::vector<std::string> g_messages;
void Record(const char* text) {
  g_messages.push_back(text);
}

class Dispatcher : public ::testing::Test {
 protected:
  void SetUp() override {
    Ws = Workspace{};
    Ws.pageWidth = 640;
    Ws.pageHeight = 480;
    GaugeEnabled = 1;
    ExitFlag = 0;
    g_messages.clear();
    old_ = SetMessageSink(Record);
  }
  void TearDown() override { SetMessageSink(old_); }

  std::string Run(const std::string& line, int* found = nullptr) {
    CommandRecord r{};
    r.command = line.c_str();
    ExecuteCommand(&r);
    if (found) *found = r.found;
    return r.result;
  }
  MessageSink old_ = nullptr;
};

// A command file and its transcript: one answer a line, an empty line for an empty answer.
TEST_F(Dispatcher, CommandFileTranscript) {
  const std::vector<std::pair<std::string, std::string>> script = {
      {"qd_getwidth", "640"},
      {"[qd_getwidth]", "[640]"},
      {"QD_GetWidth", "640"},
      {"  \tqd_getheight", "480"},
      {"[qd_getwidth][qd_getheight]", "[640][480]"},
      {" [qd_getwidth]  \t [qd_getheight] ", "[640][480]"},
      {"[qd_getwidth] junk [qd_getheight]", "[640]"},
      {"[qd_getwidth]] [qd_getheight]", "[640]"},
      {"[qd_getwidth", "[640]"},
      {"[qd_getwidth][qd_nop unclosed [x]", "[640][unclosed [x]]"},
      {"[qd_nop [a]]", "[[a]]"},
      {"[qd_nop a [b [c]] d][qd_getheight]", "[a [b [c]] d][480]"},
      {"[qd_setapen 1 2 3]", "[]"},
      {"[qd_nosuchcommand]", "[]"},
      {"[qd_nosuchcommand][qd_getwidth][]", "[][640][]"},
      {"qd_nosuchcommand 1 2", ""},
      {"[ qd_getwidth]", "[]"},
      {"qd_nop   keeps  Case And  Blanks", "keeps  Case And  Blanks"},
      {"qd_nop\ttabs\tbecome\tblanks", "tabs become blanks"},
      {"qd_setapen 300 -5 10", ""},
      {"qd_getapen", "255 0 10 255"},
      {"qd_setapen abc 7", ""},
      {"qd_getapen", "0 0 0 255"},
      {"qd_setapen 12", ""},
      {"qd_getapen", "12 0 0 255"},
      {"qd_setapen 0x10 5 5", ""},
      {"qd_getapen", "0 0 0 255"},
      {"qd_setapen 99.9 1e1 -0.5 77", ""},
      {"qd_getapen", "99 10 0 255"},
      {"qd_setapen 7,8,9", ""},
      {"qd_getapen", "7 0 0 255"},
      {"qd_setbpen 1 2 3", ""},
      {"[qd_getbpen] [qd_getapen]", "[1 2 3 255][7 0 0 255]"},
      {"qd_gauge off", "On"},
      {"[qd_gauge]", "[Off]"},
      {"qd_gauge Offline", "On"},
      {"qd_gauge on", "Off"},
      {"qd_version", "Vela1.00 us"},
      {"[qd_version][qd_nop]", "[Vela1.00 us][]"},
      {"qd_request Save now?|Yes|No", "0"},
      {"qd_request Sure?", "1"},
      {"qd_warn careful", ""},
  };
  namespace fs = std::filesystem;
  fs::path dir = fs::temp_directory_path() / ("vela-transcript-" + std::to_string(getpid()));
  fs::create_directories(dir);
  {
    std::ofstream f(dir / "t.vcmd", std::ios::binary);
    for (size_t i = 0; i < script.size(); ++i) {
      f << script[i].first << (i % 3 == 0 ? "\r\n" : "\n");
      if (i % 5 == 0) f << "\n";  // empty lines are skipped
    }
    f << "qd_quit\nqd_getwidth\n";  // nothing runs after qd_quit
  }
  // qd_request answers what Ask answers, here the second button for the first question.
  static std::vector<std::string> asked;
  asked.clear();
  static const AskHandlers ask = {[](const char* text, const char* yes, const char* no) {
    asked.push_back(std::string(text) + "|" + (yes ? yes : "-") + "|" + (no ? no : "-"));
    return asked.size() == 1 ? 0 : 1;
  }};
  SetAskHandlers(&ask);
  std::FILE* out = std::tmpfile();
  ASSERT_EQ(RunCommandFile((dir / "t.vcmd").c_str(), out), 0);
  SetAskHandlers(nullptr);
  EXPECT_EQ(ExitFlag, 1);
  std::rewind(out);
  std::string got, want;
  for (int c; (c = std::fgetc(out)) != EOF;) got += static_cast<char>(c);
  std::fclose(out);
  fs::remove_all(dir);
  for (const auto& line : script) want += line.second + "\n";
  EXPECT_EQ(got, want + "\n");  // one answer a line; qd_quit answers nothing
  EXPECT_EQ(asked, (std::vector<std::string>{"Save now?|Yes|No", "Sure?|-|-"}));
  EXPECT_EQ(g_messages, (std::vector<std::string>{"careful"}));
  EXPECT_EQ(RunCommandFile((dir / "missing.vcmd").c_str(), stdout), -1);
}

// The line end is no part of the command: 4,095 bytes run with either end, 4,096 do not.
TEST_F(Dispatcher, CommandFileBoundsAndUnreadableFiles) {
  namespace fs = std::filesystem;
  fs::path dir = fs::temp_directory_path() / ("vela-bounds-" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string fits = "qd_nop " + std::string(kWorkSize - 8, 'x');
  std::ofstream(dir / "b.vcmd", std::ios::binary) << fits << "\r\n"
                                                  << fits << "\n"
                                                  << fits << "x\r\nqd_getwidth";
  std::FILE* out = std::tmpfile();
  EXPECT_EQ(RunCommandFile((dir / "b.vcmd").c_str(), out), 0);
  std::rewind(out);
  std::string got;
  for (int c; (c = std::fgetc(out)) != EOF;) got += static_cast<char>(c);
  std::fclose(out);
  const std::string answer(kResultSize - 1, 'x');
  EXPECT_EQ(got, answer + "\n" + answer + "\n\n640\n");
  // A folder opens but cannot be read: a failure, not an empty file.
  EXPECT_EQ(RunCommandFile(dir.c_str(), stdout), -1);
  fs::remove_all(dir);
}

TEST_F(Dispatcher, FoundTellsOfTheLastCommand) {
  // For qd_getwidth the handler's own count is overwritten.
  for (auto [line, want] : {std::pair{"qd_getwidth", 1}, {"qd_nosuch", 0}, {"[qd_getwidth][qd_nosuch]", 0},
                            {"[qd_nosuch][qd_setapen 1 1 1]", 1}, {"", 0}}) {
    int found = -1;
    Run(line, &found);
    EXPECT_EQ(found, want) << line;
  }
  EXPECT_EQ(Run("   "), "");
  EXPECT_EQ(BracketMode, 0);
  Run("[qd_getwidth]");
  EXPECT_EQ(BracketMode, 1);
}

TEST_F(Dispatcher, GroupsMaySpanLines) {
  EXPECT_EQ(Run("[qd_nop one\ntwo\r\nthree]"), "[one two  three]");
  EXPECT_EQ(Run("[qd_getwidth]\n[qd_getheight]"), "[640][480]");
}

TEST_F(Dispatcher, BoundsHold) {
  // The answer is cut so that the result keeps its NUL.
  std::string big(kWorkSize - 8, 'x');
  std::string r = Run("qd_nop " + big);
  EXPECT_EQ(r, std::string(kResultSize - 1, 'x'));
  r = Run("[qd_nop " + big + "]");
  EXPECT_EQ(r, "[" + std::string(kResultSize - 2, 'x'));
  std::string many;
  for (int i = 0; i < 200; ++i) many += "[qd_getwidth]";
  r = Run(many);
  EXPECT_EQ(r.size(), kResultSize - 1);
  EXPECT_EQ(r.substr(0, 10), "[640][640]");
  // A name that does not fit the name buffer names nothing, even when cut it would.
  int found = -1;
  Run("qd_nop" + std::string(kNameSize, ' ') + "x", &found);
  EXPECT_EQ(found, 1);
  Run("qd_getwidth" + std::string(kNameSize, 'h'), &found);
  EXPECT_EQ(found, 0);
  // Deep and unclosed nesting is one group, too long to run.
  EXPECT_EQ(Run(std::string(100000, '[')), "[]");
  EXPECT_EQ(Run("[qd_nop " + std::string(10000, ']')), "[]");
  // The plug-in entry takes 2,047 bytes and returns the length with the NUL.
  char result[kResultSize];
  std::string cmd = "qd_nop " + std::string(kCallbackSize - 8, 'y');
  EXPECT_EQ(ExecuteCallbackCommand(cmd.c_str(), result), static_cast<int>(kResultSize));
  EXPECT_EQ(ExecuteCallbackCommand((cmd + "y").c_str(), result), 1);
  EXPECT_EQ(ExecuteCallbackCommand("qd_getwidth", result), 4);
  EXPECT_STREQ(result, "640");
  EXPECT_EQ(ExecuteCallbackCommand(nullptr, result), 0);
  EXPECT_EQ(ExecuteCallbackCommand("qd_getwidth", nullptr), 0);
  // A command of 4,095 bytes runs whole; one byte more and none of it runs, neither cut nor its
  // rest, in either form.
  std::string padded = "qd_setapen 1 2" + std::string(kWorkSize - 17, ' ') + "33";
  Run(padded);
  EXPECT_EQ(Draw.APen, 0xFF010221u);
  Run("qd_setapen 9 9 9");
  found = -1;
  EXPECT_EQ(Run(padded + " ", &found), "");
  EXPECT_EQ(found, 0);
  EXPECT_EQ(Run("[qd_getwidth][" + padded + " ][qd_getheight]"), "[640][][480]");
  EXPECT_EQ(Draw.APen, 0xFF090909u);
}

// The part of a line on the page is the part of the whole line, not a line between cut ends.
TEST_F(Dispatcher, FastLineKeepsItsPixelsOffThePage) {
  Ws.page = NewBlock(48, 32);
  Block* whole = NewBlock(248, 132);
  for (auto [x0, y0, x1, y1] : {std::array{-37, -5, 70, 40}, {60, -50, -3, 31}, {-90, 30, 50, 2}}) {
    FillRect(Ws.page, 0, 0, 47, 31, 0);
    Run("qd_fastline " + std::to_string(x0) + " " + std::to_string(y0) + " " + std::to_string(x1) +
        " " + std::to_string(y1) + " 255 255 255 255");
    DrawLine(whole, x0 + 100, y0 + 50, x1 + 100, y1 + 50, 7);
    for (int y = 0; y < 32; ++y)
      for (int x = 0; x < 48; ++x)
        ASSERT_EQ(Ws.page->Row(y)[x] != 0, whole->Row(y + 50)[x + 100] == 7) << x << "," << y;
    FillRect(whole, 0, 0, 247, 131, 0);
  }
  Run("qd_fastline -2147483648 -2147483648 2147483647 20 255 255 255 255");
  Run("qd_fastline -2000000000 -2000000000 -1999999990 -1999999990 255 255 255 255");
  FreeBlock(whole);
  FreeBlock(Ws.page);
  Ws.page = nullptr;
}

TEST(ParseNumbers, ReadsDecimalNumbersOnly) {
  ParseNumbers(" 1.5 -2 3e1 .5 -7.9 +4", 6);
  const double want[] = {1.5, -2, 30, 0.5, -7.9, 4};
  const int32_t wantInt[] = {1, -2, 30, 0, -7, 4};
  for (int i = 0; i < 6; ++i) {
    EXPECT_DOUBLE_EQ(CommandArgs.number[i], want[i]) << i;
    EXPECT_EQ(CommandArgs.integer[i], wantInt[i]) << i;
  }
  ParseNumbers("qd_word 4 5", 2);  // a leading word is stepped over
  EXPECT_EQ(CommandArgs.integer[0], 4);
  EXPECT_EQ(CommandArgs.integer[1], 5);
  ParseNumbers(" 7 abc 9", 3);  // a word stops the parse: the rest are 0
  EXPECT_EQ(CommandArgs.integer[0], 7);
  EXPECT_EQ(CommandArgs.integer[1], 0);
  EXPECT_EQ(CommandArgs.integer[2], 0);
  ParseNumbers(" 0x10 inf nan 1e 2", 5);
  EXPECT_EQ(CommandArgs.number[0], 0.0);
  EXPECT_EQ(CommandArgs.number[1], 0.0);
  ParseNumbers(" 1e 2", 2);  // an exponent without digits is not part of the number
  EXPECT_EQ(CommandArgs.number[0], 1.0);
  EXPECT_EQ(CommandArgs.number[1], 0.0);
  ParseNumbers(" 1e999 -1e999 3000000000", 3);
  EXPECT_EQ(CommandArgs.integer[0], INT32_MAX);
  EXPECT_EQ(CommandArgs.integer[1], INT32_MIN);
  EXPECT_EQ(CommandArgs.integer[2], INT32_MAX);
  // Entries past N are left as they were.
  ParseNumbers(" 1 2 3", 3);
  ParseNumbers(" 9", 1);
  EXPECT_EQ(CommandArgs.integer[1], 2);
  ParseNumbers(nullptr, 40);  // N is held to 32
  EXPECT_EQ(CommandArgs.integer[31], 0);
}

TEST(ParseNumbers, CoordinatesBecomeFixedPoint) {
  EXPECT_EQ(ScriptToFixed(10), 10 * 65536 + 32767);
  EXPECT_EQ(ScriptToFixed(10) >> 16, 10);  // a whole number lies in its own pixel
  EXPECT_EQ(ScriptToFixed(1.5), 98304 + 32767);
  EXPECT_EQ(ScriptToFixed(-1), -65536 + 32767);
  EXPECT_EQ(ScriptToFixed(1e300), INT32_MAX);
  EXPECT_EQ(ScriptToFixed(-1e300), INT32_MIN);
}

// A family row of a later module, to see the table and the file-name parser at work.
void FileCommand(CommandRecord* r, const char* args) {
  char name[kWorkSize];
  const char* keywords = ParseFileName(r, args, name);
  if (!keywords) return;
  AnswerF(r, "<%s><%s>", name, keywords);
}
void ShadowWidth(CommandRecord* r, const char*) {
  Answer(r, "shadow");
}

TEST_F(Dispatcher, LaterFamiliesJoinTheTable) {
  const CommandRow rows[] = {{"qd_testfile", FileCommand}, {"qd_getwidth", ShadowWidth}};
  size_t before = CommandTable().size();
  ASSERT_TRUE(AddCommands(rows));
  EXPECT_EQ(CommandTable().size(), before + 2);
  EXPECT_EQ(CommandTable().back().name, nullptr);
  EXPECT_EQ(Run("qd_getwidth"), "640");  // the first of two equal names wins
  EXPECT_EQ(Run("qd_testfile"), "ERROR -1");
  EXPECT_EQ(Run("[qd_testfile   ]"), "[ERROR -1]");
  EXPECT_EQ(Run("qd_testfile \"my file.png\"  Replace all"), "<my file.png><Replace all>");
  EXPECT_EQ(Run("[qd_testfile pic.png]"), "[<pic.png><>]");
  EXPECT_EQ(Run("qd_testfile \"unclosed name"), "<unclosed name><>");
  std::string longName(kWorkSize - 13, 'n');
  EXPECT_EQ(Run("qd_testfile " + longName).size(), kResultSize - 1);
  std::vector<CommandRow> tooMany(kCommandTableSize, CommandRow{"qd_x", ShadowWidth});
  EXPECT_FALSE(AddCommands(tooMany));
  EXPECT_EQ(CommandTable().size(), before + 2);
}

TEST_F(Dispatcher, LocksNestAndRestore) {
  ScriptLocks = {};
  ScriptLocks.pointerShape = 7;
  Run("qd_lockmouse 3");
  Run("qd_lockmouse 4");
  EXPECT_EQ(ScriptLocks.pointerShape, 3);
  Run("qd_unlockmouse");
  EXPECT_EQ(ScriptLocks.pointerShape, 3);
  Run("qd_unlockmouse");
  EXPECT_EQ(ScriptLocks.pointerShape, 7);
  Run("qd_unlockmouse");  // at 0 it does nothing
  EXPECT_EQ(ScriptLocks.mouseNesting, 0);
  EXPECT_EQ(ScriptLocks.pointerShape, 7);

  // Unlocking drops the user's input but keeps the window's own events.
  HostConfig hc;
  hc.headless = true;
  std::string err;
  ASSERT_TRUE(HostOpen(hc, &err)) << err;
  HostHoldOpen(true);
  for (auto type : {HostEventType::KeyDown, HostEventType::Resize, HostEventType::Move})
    HostPushEvent(HostEvent{.type = type});
  Run("qd_lockuser");
  Run("qd_lockuser");
  EXPECT_EQ(ScriptLocks.pointerShape, 2);
  Run("qd_unlockuser");
  EXPECT_EQ(ScriptLocks.pointerShape, 7);
  EXPECT_EQ(ScriptLocks.userLocked, 0);
  HostEvent e;
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::Resize);
  EXPECT_FALSE(HostPollEvent(&e));
  HostHoldOpen(false);
  HostClose();

  Run("qd_lockscreen");
  EXPECT_STREQ(ScriptLocks.displayText, "Display is locked");
  Run("qd_lockdisplay rendering frames");
  EXPECT_STREQ(ScriptLocks.displayText, "rendering frames");
  EXPECT_EQ(Ws.displayLocked, 1);
  EXPECT_EQ(Run("[qd_unlockdisplay]"), "[]");
  EXPECT_EQ(Ws.displayLocked, 0);
}

}  // namespace
}  // namespace vela
