// A temporary home for tests of the configuration store and the settings read through it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "start/config_store.h"
#include "start/run_paths.h"

namespace vela {

namespace fs = std::filesystem;

class HomeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "vela-home-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    home_ = tmpl;
    fs::create_directories(home_ / "configs");
    Paths().homeDir = home_.string();
    Paths().iniPath = (home_ / "Vela.INI").string();
  }
  void TearDown() override {
    ConfigOpen(nullptr);
    fs::remove_all(home_);
  }

  fs::path File(const std::string& name) { return home_ / "configs" / (name + ".ini"); }
  static void Write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string Read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  // Reads the store's file afresh.
  static void Reopen(const char* name) {
    ConfigOpen(nullptr);
    ConfigOpen(name);
  }
  // A value of the open store, "<none>" when missing.
  static std::string Get(const char* section, const char* key, const char* def = "<none>") {
    char buf[4096];
    int n = ConfigGet(section, key, buf, def, sizeof buf - 1);
    buf[n] = 0;
    return buf;
  }

  fs::path home_;
};

}  // namespace vela
