#include "host/profile.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vela {
namespace {

namespace fs = std::filesystem;

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "vela-profile-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl;
    ini_ = (dir_ / "Vela.INI").string();
  }
  void TearDown() override { fs::remove_all(dir_); }

  void Write(const std::string& text) { std::ofstream(ini_, std::ios::binary) << text; }
  std::string Read() {
    std::ifstream in(ini_, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  std::string Get(const char* section, const char* key, const char* def = "<none>") {
    char buf[256];
    GetPrivateProfileString(section, key, def, buf, sizeof buf, ini_.c_str());
    return buf;
  }
  bool Put(const char* section, const char* key, const char* value) {
    return WritePrivateProfileString(section, key, value, ini_.c_str());
  }

  fs::path dir_;
  std::string ini_;
};

TEST_F(ProfileTest, LookupOfMissingFileIgnoresCaseAndBlanks) {
  EXPECT_EQ(Get("STARTUP", "HomeDir", "here"), "here");
  EXPECT_EQ(Get("STARTUP", "HomeDir", nullptr), "");
  EXPECT_EQ(GetPrivateProfileInt("STARTUP", "GAUGE", 7, ini_.c_str()), 7);
  EXPECT_EQ(Get("STARTUP", "x", ""), "");
  EXPECT_FALSE(fs::exists(ini_));

  Write(
      "; machine settings\n[STARTUP]\n  HomeDir =  /opt/vela  \nquoted=\"  a b \"\n"
      "[Other]\nHomeDir=other\n");
  EXPECT_EQ(Get("Startup", "homedir"), "/opt/vela");
  EXPECT_EQ(Get("startup", "QUOTED"), "  a b ");
  EXPECT_EQ(Get("OTHER", "homedir"), "other");
  EXPECT_EQ(Get("Startup", "; machine settings"), "<none>");
  EXPECT_EQ(Get("Missing", "HomeDir"), "<none>");

  // Blanks around names cannot be kept in the file, so they do not count on either side.
  EXPECT_TRUE(Put("New\t", " key ", "v"));
  EXPECT_EQ(Get("new", "KEY"), "v");
  EXPECT_EQ(Get(" New", "key\t"), "v");
}

TEST_F(ProfileTest, ValuesAreCutToCapacityAndNullNamesList) {
  Write("[S]\nk=abcdef\n");
  char buf[8];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(GetPrivateProfileString("S", "k", "", buf, 4, ini_.c_str()), 3);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(buf[4], '#');
  EXPECT_EQ(GetPrivateProfileString("S", "none", "longdefault", buf, 5, ini_.c_str()), 4);
  EXPECT_STREQ(buf, "long");
  EXPECT_EQ(GetPrivateProfileString("S", "k", "", buf, 0, ini_.c_str()), 0);

  // A null key lists the keys, a null section the sections.
  Write("[A]\none=1\n; note\ntwo=2\n[B]\nthree=3\n");
  char list[64];
  int n = GetPrivateProfileString("a", nullptr, "", list, sizeof list, ini_.c_str());
  EXPECT_EQ(std::string(list, n + 1), std::string("one\0two\0\0", 9));
  n = GetPrivateProfileString(nullptr, nullptr, "", list, sizeof list, ini_.c_str());
  EXPECT_EQ(std::string(list, n + 1), std::string("A\0B\0\0", 5));
  n = GetPrivateProfileString("A", nullptr, "", list, 6, ini_.c_str());
  EXPECT_EQ(n, 4);
  EXPECT_EQ(std::string(list, 6), std::string("one\0\0\0", 6));
}

TEST_F(ProfileTest, IntegersAreDecimal) {
  Write("[S]\na=42abc\nb=abc\nc=-17\nd=0x10\ne=99999999999\nf=\n");
  const char* f = ini_.c_str();
  EXPECT_EQ(GetPrivateProfileInt("S", "a", 5, f), 42);
  EXPECT_EQ(GetPrivateProfileInt("S", "b", 5, f), 0);
  EXPECT_EQ(GetPrivateProfileInt("S", "c", 5, f), -17);
  EXPECT_EQ(GetPrivateProfileInt("S", "d", 5, f), 0);
  EXPECT_EQ(GetPrivateProfileInt("S", "e", 5, f), 2147483647);
  EXPECT_EQ(GetPrivateProfileInt("S", "f", 5, f), 5);
  EXPECT_EQ(GetPrivateProfileInt("S", "g", 5, f), 5);
}

TEST_F(ProfileTest, WritesKeepOrderAndUnknownLines) {
  Write(
      "# written by hand\n"
      "[STARTUP]\n"
      "HomeDir=/old\n"
      "something odd\n"
      "Tablet=no\n"
      "\n"
      "[Extra]\n"
      "x=1\n");
  EXPECT_TRUE(Put("Startup", "homedir", "/new"));
  EXPECT_TRUE(Put("startup", "Last_Config", "Mine"));
  EXPECT_TRUE(Put("New", "k", "v"));
  EXPECT_EQ(Read(),
            "# written by hand\n"
            "[STARTUP]\n"
            "HomeDir=/new\n"
            "something odd\n"
            "Tablet=no\n"
            "Last_Config=Mine\n"
            "\n"
            "[Extra]\n"
            "x=1\n"
            "\n"
            "[New]\n"
            "k=v\n");

  // Windows line ends stay.
  Write("[S]\r\na=1\r\n");
  EXPECT_EQ(Get("S", "a"), "1");
  EXPECT_TRUE(Put("S", "b", "2"));
  EXPECT_EQ(Read(), "[S]\r\na=1\r\nb=2\r\n");
}

TEST_F(ProfileTest, DeletingKeysAndSections) {
  Write("[A]\nk=1\nK=2\nother=3\n[B]\nk=4\n[a]\nk=5\n");
  EXPECT_TRUE(Put("a", "K", nullptr));
  EXPECT_EQ(Read(), "[A]\nother=3\n[B]\nk=4\n[a]\n");
  EXPECT_TRUE(Put("A", nullptr, nullptr));
  EXPECT_EQ(Read(), "[B]\nk=4\n");

  // Deleting what is not there leaves the file as it is.
  Write("[B]\r\nk=4");
  EXPECT_TRUE(Put("B", "none", nullptr));
  EXPECT_TRUE(Put("C", nullptr, nullptr));
  EXPECT_EQ(Read(), "[B]\r\nk=4");
}

TEST_F(ProfileTest, WritingMakesFoldersAndFailsCleanly) {
  std::string nested = (dir_ / "a" / "b" / "Vela.INI").string();
  EXPECT_TRUE(WritePrivateProfileString("STARTUP", "k", "v", nested.c_str()));
  char buf[8];
  GetPrivateProfileString("STARTUP", "k", "", buf, sizeof buf, nested.c_str());
  EXPECT_STREQ(buf, "v");

  // A line break in a value cannot start a new section.
  EXPECT_TRUE(Put("S", "k", "one\n[Other]"));
  EXPECT_EQ(Get("S", "k"), "one");
  fs::create_directories(dir_ / "taken" / "x");
  std::string blocked = (dir_ / "taken").string();
  EXPECT_FALSE(WritePrivateProfileString("S", "k", "v", blocked.c_str()));
  EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", ini_.c_str()));
  int files = 0;
  for (auto& e : fs::recursive_directory_iterator(dir_)) files += e.is_regular_file() ? 1 : 0;
  EXPECT_EQ(files, 2);  // no temporary left behind
}

TEST_F(ProfileTest, DefaultIniPath) {
  std::string oldXdg = getenv("XDG_CONFIG_HOME") ? getenv("XDG_CONFIG_HOME") : "";
  std::string oldHome = getenv("HOME") ? getenv("HOME") : "";
  setenv("HOME", dir_.c_str(), 1);
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(DefaultIniPath(), (dir_ / ".config/vela/Vela.INI").string());
  setenv("XDG_CONFIG_HOME", "relative/ignored", 1);
  EXPECT_EQ(DefaultIniPath(), (dir_ / ".config/vela/Vela.INI").string());

  setenv("XDG_CONFIG_HOME", (dir_ / "xdg").c_str(), 1);
  EXPECT_EQ(DefaultIniPath(), (dir_ / "xdg/vela/Vela.INI").string());
  fs::create_directories(dir_ / "xdg/vela");
  std::ofstream(dir_ / "xdg/vela/vela.ini") << "[STARTUP]\n";
  EXPECT_EQ(DefaultIniPath(), (dir_ / "xdg/vela/vela.ini").string());

  setenv("HOME", oldHome.c_str(), 1);
  if (oldXdg.empty())
    unsetenv("XDG_CONFIG_HOME");
  else
    setenv("XDG_CONFIG_HOME", oldXdg.c_str(), 1);
}

}  // namespace
}  // namespace vela
