#include "start/config_store.h"

#include <array>
#include <cstring>

#include "start_fixture.h"

namespace vela {
namespace {

class ConfigStoreTest : public HomeTest {
 protected:
  int FilesInConfigs() {
    int n = 0;
    for (auto& e : fs::directory_iterator(home_ / "configs")) n += e.is_regular_file() ? 1 : 0;
    return n;
  }
};

TEST_F(ConfigStoreTest, ReadAndWriteReversesOrderAndDropsEmptyValues) {
  Write(File("a"), "[First]\none=1\ntwo=2\n\n[Second]\nthree=3\nempty=\nbare\n");
  ConfigOpen("a");
  EXPECT_EQ(Get("Second", "bare"), "");  // present with an empty value until saved
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("a")), "[Second]\nthree=3\n\n[First]\ntwo=2\none=1\n\n");
  Reopen("a");
  EXPECT_EQ(Get("Second", "bare") + Get("Second", "empty") + Get("First", "one"), "<none><none>1");

  // Sections with nothing to write survive round trips.
  Write(File("a"), "[A]\nx=\n[B]\ny=1\n");
  Reopen("a");
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("a")), "[B]\ny=1\n\n[A]\n\n");
  Reopen("a");
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("a")), "[A]\n\n[B]\ny=1\n\n");
}

TEST_F(ConfigStoreTest, LineRules) {
  Write(File("a"),
        "\n   \t\n  [Main]\r\n  Key=   value with  spaces  \r\nspaced key = v\neq=a=b\n"
        "dup=first\nDUP=second\n[Main] old\nk=old\n");
  ConfigOpen("a");
  EXPECT_EQ(Get("main", "KEY"), "value with  spaces  ");
  EXPECT_EQ(Get("Main", "spaced key ") + Get("Main", "spaced key"), "v<none>");  // up to the "="
  EXPECT_EQ(Get("Main", "eq") + Get("Main", "dup") + Get("Main", "k"), "a=bsecond<none>");
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_NE(Read(File("a")).find("[Main] old\nk=old\n"), std::string::npos);

  // A section line without "]" ends reading; what was read stays.
  Write(File("a"), "[Main]\na=1\n[Broken\nb=2\n[Other]\nc=3\n");
  Reopen("a");
  EXPECT_EQ(Get("Main", "a") + Get("Main", "b") + Get("Other", "c"), "1<none><none>");
  // An entry line before any section ends it too, and so do more than 21 lines before the first.
  std::string comments;
  for (int i = 0; i < 25; ++i) comments += "; comment\n";
  for (const std::string& head :
       {std::string("stray=1\n"), comments, std::string(21, '\n'), std::string(20, '\n')}) {
    Write(File("a"), head + "[Main]\na=1\n");
    Reopen("a");
    EXPECT_EQ(Get("Main", "a"), head.size() == 20 ? "1" : "<none>") << head;
  }

  // Long lines are cut at 4,095 characters; the rest reads as a line of its own.
  Write(File("a"), "[Main]\nk=" + std::string(5000, 'x') + "\nnext=1\n");
  Reopen("a");
  EXPECT_EQ(Get("Main", "k").size(), 4093u);
  EXPECT_EQ(Get("Main", std::string(5000 - 4093, 'x').c_str()), "");
  EXPECT_EQ(Get("Main", "next"), "1");
}

TEST_F(ConfigStoreTest, CapacityCutsAndTheDefaultMayBeTheDestination) {
  ConfigOpen("a");
  const std::string longValue(300, 'v');
  ASSERT_EQ(ConfigPut("Main", "long", longValue.c_str()), 1);
  ASSERT_EQ(ConfigPut("Main", "short", "abc"), 1);
  char buf[300];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", "long", buf, "", 255), 255);
  EXPECT_EQ(std::string(buf, 256), longValue.substr(0, 255) + "#");  // no terminator past it
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 3), 3);  // exactly the capacity: cut too
  EXPECT_EQ(buf[3], 'v');
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 4), 3);
  EXPECT_STREQ(buf, "abc");
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", "missing", buf, "defaultvalue", 7), 7);
  EXPECT_EQ(std::string(buf, 8), "default#");
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 0), 0);

  ConfigPut("Main", "there", "new");
  std::strcpy(buf, "kept value");
  EXPECT_EQ(ConfigGet("Main", "missing", buf, buf, sizeof buf), 10);
  EXPECT_STREQ(buf, "kept value");
  EXPECT_EQ(ConfigGet("Main", "there", buf, buf, sizeof buf), 3);
  EXPECT_STREQ(buf, "new");
}

TEST_F(ConfigStoreTest, NullKeyListsKeys) {
  ConfigOpen("a");
  for (auto [key, value] : {std::pair{"one", "1"}, {"two", ""}, {"three", "3"}})
    ConfigPut("Main", key, value);
  char buf[64];
  const int n = ConfigGet("Main", nullptr, buf, "", sizeof buf);
  EXPECT_EQ(n, 14);
  EXPECT_EQ(std::string(buf, n + 1), std::string("three\0two\0one\0\0", 15));
  // Cut short, the list is still closed by two zeros.
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", nullptr, buf, "", 9), 7);
  EXPECT_EQ(std::string(buf, 10), std::string("three\0t\0\0#", 10));
  EXPECT_EQ(ConfigGet("Nothing", nullptr, buf, "", sizeof buf), 0);
  EXPECT_EQ(std::string(buf, 2), std::string("\0\0", 2));
}

TEST_F(ConfigStoreTest, NoOpenStoreGivesDefaultsAndKeepsNothing) {
  char buf[16];
  EXPECT_EQ(ConfigPut("Main", "a", "1"), 0);
  EXPECT_EQ(ConfigGet("Main", "a", buf, "def", sizeof buf), 3);
  EXPECT_STREQ(buf, "def");
  EXPECT_EQ(ConfigFlush(), 0);
  EXPECT_EQ(ConfigCopyTo("b"), 1);
  EXPECT_STREQ(ConfigName(), "");
  EXPECT_EQ(FilesInConfigs(), 0);
}

TEST_F(ConfigStoreTest, PutReplacesAddsAndRejectsNulls) {
  ConfigOpen("a");
  EXPECT_EQ((std::array{ConfigPut("Main", "Key", "1"), ConfigPut("MAIN", "KEY", "2"),
                        ConfigPut(nullptr, "k", "v"), ConfigPut("Main", nullptr, "v"),
                        ConfigPut("Main", "k", nullptr)}),
            (std::array{1, 1, 0, 0, 0}));
  ASSERT_EQ(ConfigFlush(), 1);
  // The first spelling of a key stays; only one entry exists.
  EXPECT_EQ(Read(File("a")), "[Main]\nKey=2\n\n");
}

TEST_F(ConfigStoreTest, OpenSwitchAndCopy) {
  ConfigOpen("a");
  ConfigPut("Main", "x", "1");
  ConfigOpen("a");  // same path: the unsaved change stays
  EXPECT_EQ(Get("Main", "x"), "1");
  ConfigOpen("b");  // a new name does not write the old file
  EXPECT_FALSE(fs::exists(File("a")));
  EXPECT_EQ(Get("Main", "x"), "<none>");
  EXPECT_EQ(ConfigName() + (" " + ConfigOpenPath()), "b " + File("b").string());

  // Copy To copies the file on disk, not what is unsaved.
  Write(File("a"), "[Main]\nx=1\n");
  ConfigOpen("a");
  ConfigPut("Main", "unsaved", "1");
  EXPECT_EQ(ConfigCopyTo("b"), 1);
  EXPECT_EQ(Read(File("b")), "[Main]\nx=1\n");
  EXPECT_EQ(ConfigCopyTo("a"), 1);
  EXPECT_EQ(Read(File("a")), "[Main]\nx=1\n");
  EXPECT_STREQ(ConfigName(), "a");
  ConfigOpen("never-saved");
  EXPECT_EQ(ConfigCopyTo("c"), 0);
  EXPECT_FALSE(fs::exists(File("c")));
}

TEST_F(ConfigStoreTest, FlushReplacesTheFileWhole) {
  fs::remove_all(home_ / "configs");  // a fresh home: the folder is made
  ConfigOpen("a");
  ConfigPut("Main", "x", "1");
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("a")), "[Main]\nx=1\n\n");
  // A value with a line break must not turn into a section line on reload.
  ConfigPut("Main", "y", "2\n[Broken");
  ASSERT_EQ(ConfigFlush(), 1);
  Reopen("a");
  EXPECT_EQ(Get("Main", "x") + Get("Main", "y"), "12");
  // A target that cannot be replaced: nothing written, no temporary left behind.
  ConfigOpen("dir");
  fs::create_directories(File("dir") / "sub");
  ConfigPut("Main", "x", "1");
  EXPECT_EQ(ConfigFlush(), 0);
  EXPECT_EQ(FilesInConfigs(), 1);
}

TEST_F(ConfigStoreTest, GetFromAndSnapshotsLeaveTheOpenStoreAlone) {
  const fs::path keys = home_ / "keys.cfg";
  const std::string original = "[Keyboard]\nA=one\nB=two\n";
  Write(keys, original);
  ConfigOpen("a");
  ConfigPut("Keyboard", "A", "store");
  char buf[32];
  EXPECT_EQ(ConfigGetFrom(keys.c_str(), "keyboard", "b", buf, "none", sizeof buf), 3);
  EXPECT_STREQ(buf, "two");
  EXPECT_EQ(ConfigGetFrom(keys.c_str(), "Keyboard", "F2", buf, "none", sizeof buf), 4);
  EXPECT_STREQ(buf, "none");
  EXPECT_EQ(ConfigGetFrom((home_ / "missing").c_str(), "Keyboard", "A", buf, "d", sizeof buf), 1);
  EXPECT_EQ(ConfigSnapshotRead((home_ / "missing").c_str()), nullptr);

  // Nothing put: the file is left as it is, not rewritten in the store's order.
  ConfigSnapshot* s = ConfigSnapshotRead(keys.c_str());
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(ConfigSnapshotGet(s, "KEYBOARD", "a", buf, "", sizeof buf), 3);
  EXPECT_STREQ(buf, "one");
  ConfigSnapshotWrite(s);
  EXPECT_EQ(Read(keys), original);
  s = ConfigSnapshotRead(keys.c_str());
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(ConfigSnapshotPut(s, "Keyboard", "C", "three"), 1);
  EXPECT_EQ(ConfigSnapshotPut(s, "Keyboard", nullptr, "x"), 0);
  ConfigSnapshotWrite(s);
  EXPECT_EQ(Read(keys), "[Keyboard]\nC=three\nB=two\nA=one\n\n");
  EXPECT_EQ(Get("Keyboard", "A") + Get("Keyboard", "C"), "store<none>");
  EXPECT_EQ(ConfigOpenPath(), File("a").string());
  ConfigSnapshotWrite(nullptr);
}

}  // namespace
}  // namespace vela
