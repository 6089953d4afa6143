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
  EXPECT_STREQ(ConfigName(), "a");
  EXPECT_EQ(Get("Second", "bare"), "");  // present with an empty value until saved
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("a")), "[Second]\nthree=3\n\n[First]\ntwo=2\none=1\n\n");

  Reopen("a");
  EXPECT_EQ(Get("Second", "bare"), "<none>");
  EXPECT_EQ(Get("Second", "empty"), "<none>");
  EXPECT_EQ(Get("First", "one"), "1");

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
        "\n   \t\n  [Main]\r\n"
        "  Key=   value with  spaces  \r\n"
        "spaced key = v\n"
        "eq=a=b\n"
        "dup=first\n"
        "DUP=second\n"
        "[Main] old\n"
        "k=old\n");
  ConfigOpen("a");
  EXPECT_EQ(Get("main", "KEY"), "value with  spaces  ");
  EXPECT_EQ(Get("Main", "spaced key "), "v");  // the key runs up to the "="
  EXPECT_EQ(Get("Main", "spaced key"), "<none>");
  EXPECT_EQ(Get("Main", "eq"), "a=b");
  EXPECT_EQ(Get("Main", "dup"), "second");
  EXPECT_EQ(Get("Main", "k"), "<none>");
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_NE(Read(File("a")).find("[Main] old\nk=old\n"), std::string::npos);
}

TEST_F(ConfigStoreTest, ReadingStopsAndLongLinesAreCut) {
  // A section line without "]" ends reading; what was read stays.
  Write(File("a"), "[Main]\na=1\n[Broken\nb=2\n[Other]\nc=3\n");
  ConfigOpen("a");
  EXPECT_EQ(Get("Main", "a") + Get("Main", "b") + Get("Other", "c"), "1<none><none>");

  // An entry line before any section.
  Write(File("b"), "stray=1\n[Main]\na=1\n");
  ConfigOpen("b");
  EXPECT_EQ(Get("Main", "a"), "<none>");

  std::string comments;
  for (int i = 0; i < 25; ++i) comments += "; comment\n";
  Write(File("c"), comments + "[Main]\na=1\n");
  ConfigOpen("c");
  EXPECT_EQ(Get("Main", "a"), "<none>");

  // At most 21 lines before the first section.
  for (int blank : {20, 21}) {
    Write(File("in"), std::string(blank, '\n') + "[Main]\na=1\n");
    Reopen("in");
    EXPECT_EQ(Get("Main", "a"), blank == 20 ? "1" : "<none>");
  }

  // Long lines are cut at 4,095 characters.
  Write(File("d"), "[Main]\nk=" + std::string(5000, 'x') + "\nnext=1\n");
  ConfigOpen("d");
  EXPECT_EQ(Get("Main", "k").size(), 4093u);
  // The rest of the long line reads as a line of its own.
  EXPECT_EQ(Get("Main", std::string(5000 - 4093, 'x').c_str()), "");
  EXPECT_EQ(Get("Main", "next"), "1");
}

TEST_F(ConfigStoreTest, CapacityCutsAndTheDefaultMayBeTheDestination) {
  ConfigOpen("a");
  std::string longValue(300, 'v');
  ASSERT_EQ(ConfigPut("Main", "long", longValue.c_str()), 1);
  ASSERT_EQ(ConfigPut("Main", "short", "abc"), 1);

  char buf[300];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", "long", buf, "", 255), 255);
  EXPECT_EQ(std::string(buf, 255), longValue.substr(0, 255));
  EXPECT_EQ(buf[255], '#');  // no terminator beyond the capacity

  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 3), 3);  // exactly the capacity: cut too
  EXPECT_EQ(buf[3], '#');
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 4), 3);
  EXPECT_STREQ(buf, "abc");

  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", "missing", buf, "defaultvalue", 7), 7);
  EXPECT_EQ(std::string(buf, 8), "default#");
  EXPECT_EQ(ConfigGet("Main", "short", buf, "", 0), 0);

  // The default may be the destination.
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
  int n = ConfigGet("Main", nullptr, buf, "", sizeof buf);
  EXPECT_EQ(n, 14);
  EXPECT_EQ(std::string(buf, n + 1), std::string("three\0two\0one\0\0", 15));

  // Cut short, the list is still closed by two zeros.
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ConfigGet("Main", nullptr, buf, "", 9), 7);
  EXPECT_EQ(std::string(buf, 10), std::string("three\0t\0\0#", 10));
  EXPECT_EQ(ConfigGet("Nothing", nullptr, buf, "", sizeof buf), 0);
  EXPECT_EQ(std::string(buf, 2), std::string("\0\0", 2));
}

TEST_F(ConfigStoreTest, NoOpenStore) {
  char buf[16];
  EXPECT_EQ(ConfigGet("Main", "a", buf, "def", sizeof buf), 3);
  EXPECT_STREQ(buf, "def");
  EXPECT_EQ(ConfigPut("Main", "a", "1"), 0);
  EXPECT_EQ(ConfigGet("Main", "a", buf, "def", sizeof buf), 3);
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
  EXPECT_EQ(Get("main", "key"), "2");
  ASSERT_EQ(ConfigFlush(), 1);
  // The first spelling of a key stays; only one entry exists.
  EXPECT_EQ(Read(File("a")), "[Main]\nKey=2\n\n");
}

TEST_F(ConfigStoreTest, OpenAndSwitch) {
  ConfigOpen("a");
  ConfigPut("Main", "x", "1");
  ConfigOpen("a");  // same path: the unsaved change stays
  EXPECT_EQ(Get("Main", "x"), "1");
  EXPECT_FALSE(fs::exists(File("a")));

  ConfigOpen("b");  // a new name does not write the old file
  EXPECT_FALSE(fs::exists(File("a")));
  EXPECT_EQ(Get("Main", "x"), "<none>");
  EXPECT_STREQ(ConfigName(), "b");
  EXPECT_EQ(ConfigOpenPath(), File("b").string());
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
  EXPECT_EQ(Get("Main", "x"), "1");
  EXPECT_EQ(Get("Main", "y"), "2");

  // A target that cannot be replaced: nothing written, no temporary left behind.
  ConfigOpen("dir");
  fs::create_directories(File("dir") / "sub");
  ConfigPut("Main", "x", "1");
  EXPECT_EQ(ConfigFlush(), 0);
  EXPECT_EQ(FilesInConfigs(), 1);
}

TEST_F(ConfigStoreTest, CopyToCopiesTheFileOnDisk) {
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

TEST_F(ConfigStoreTest, GetFromLeavesTheOpenStoreAlone) {
  fs::path other = home_ / "other.cfg";
  Write(other, "[Keyboard]\nF1=Help\n");
  ConfigOpen("a");
  ConfigPut("Keyboard", "F1", "Mine");
  char buf[32];
  EXPECT_EQ(ConfigGetFrom(other.c_str(), "keyboard", "f1", buf, "none", sizeof buf), 4);
  EXPECT_STREQ(buf, "Help");
  EXPECT_EQ(ConfigGetFrom(other.c_str(), "Keyboard", "F2", buf, "none", sizeof buf), 4);
  EXPECT_STREQ(buf, "none");
  EXPECT_EQ(ConfigGetFrom((home_ / "missing").c_str(), "Keyboard", "F1", buf, "d", sizeof buf), 1);
  EXPECT_EQ(Get("Keyboard", "F1"), "Mine");
  EXPECT_STREQ(ConfigName(), "a");
  EXPECT_EQ(ConfigOpenPath(), File("a").string());
}

TEST_F(ConfigStoreTest, Snapshots) {
  EXPECT_EQ(ConfigSnapshotRead((home_ / "missing.cfg").c_str()), nullptr);

  fs::path keys = home_ / "keys.cfg";
  const std::string original = "[Keyboard]\nA=one\nB=two\n";
  Write(keys, original);
  ConfigOpen("a");
  ConfigPut("Keyboard", "A", "store");

  // Nothing put: the file is left as it is, not rewritten in the store's order.
  ConfigSnapshot* s = ConfigSnapshotRead(keys.c_str());
  ASSERT_NE(s, nullptr);
  char buf[32];
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
  EXPECT_EQ(Get("Keyboard", "A"), "store");
  EXPECT_EQ(Get("Keyboard", "C"), "<none>");
  ConfigSnapshotWrite(nullptr);
}

}  // namespace
}  // namespace vela
