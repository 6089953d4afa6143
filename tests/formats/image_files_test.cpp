// The save mode word of scripts and the extension a save gets.
#include <cstring>

#include "formats/file_commands.h"
#include "formats/image_files.h"
#include "formats_fixture.h"
#include "pixels/primitives.h"
#include "script/dispatcher.h"
#include "start/ask.h"
#include "start/run_paths.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {
namespace {

class SaveModeWord : public FormatsTest {
 protected:
  void SetUp() override {
    FormatsTest::SetUp();
    CurrentSaveSettings() = SaveSettings{};
  }
  void TearDown() override {
    CurrentSaveSettings() = SaveSettings{};
    FormatsTest::TearDown();
  }
  std::string Mode(const char* argument, int* found = nullptr) {
    char result[128] = "unset";
    const int r = SaveMode(argument, result, sizeof result);
    if (found) *found = r;
    return result;
  }
};

TEST_F(SaveModeWord, AnswersTheOldModeThenReadsTheNewOne) {
  EXPECT_EQ(Mode("bmp"), "deep");
  // BMP starts from true colour; then settings in any order, a count limited to 16..256.
  EXPECT_EQ(Mode("  pcx dither 8 fix"), "bmp b24 nodither 256");
  EXPECT_EQ(Mode("jpeg 55"), "pcx fix dither 16");
  EXPECT_EQ(Mode("jpeg 100"), "jpeg 55");  // 100 and above keep the old quality
  EXPECT_EQ(Mode("tga non"), "jpeg 55");
  EXPECT_EQ(Mode("tga 7"), "tga 0");
  EXPECT_EQ(Mode("sun 32"), "tga 1");
  EXPECT_EQ(Mode("png b32 tram 300"), "sun 32");
  EXPECT_EQ(Mode("ilbm8"), "png b32 mat 256");
  EXPECT_EQ(Mode("mode=77"), "Mode=20 ");
  int found = -1;
  EXPECT_EQ(Mode("nothing at all", &found), "Mode=77 ");
  EXPECT_EQ(found, 0);
  EXPECT_EQ(CurrentSaveSettings().saveMode, 77);
  EXPECT_EQ(Mode("tiff"), "Mode=77 ");
  EXPECT_EQ(CurrentSaveSettings().saveMode, FormatKeyword("tiff"));
}

TEST_F(SaveModeWord, ExtensionsFollowTheModeAndKeepASecondOne) {
  auto with = [](int mode, std::string path) {
    CurrentSaveSettings().saveMode = mode;
    SetExtension(&path);
    return path;
  };
  EXPECT_EQ(with(kFormatFlc, "/a.b/movie.FLI"), "/a.b/movie.FLI");
  EXPECT_EQ(with(kFormatFlc, "/a.b/movie"), "/a.b/movie.flc");
  EXPECT_EQ(with(kFormatTga, "pic.png"), "pic.tga");
  EXPECT_EQ(with(kFormatSun32, "x.jpg"), "x.ras");
  EXPECT_EQ(with(FormatKeyword("sgi"), "x.tga"), "x.rgb");
}

}  // namespace
}  // namespace vela

namespace vela {
namespace {

// The current image is the work page; these runs have no screen, so nothing is shown.
class LoadIntoPage : public FormatsTest {
 protected:
  void SetUp() override {
    FormatsTest::SetUp();
    page_ = BlankBlock(6, 5, 0xFF102030);
    saved_ = Ws;
    Ws.page = page_.get();
    Ws.undo = nullptr;
    Ws.pageWidth = 6;
    Ws.pageHeight = 5;
    CurrentSaveSettings() = SaveSettings{};
    savedPaths_ = Paths();
    Paths().fastSavePath.clear();
    Paths().tempDir = dir_.string() + "/";  // Hold keeps its file here
  }
  void TearDown() override {
    Paths() = savedPaths_;
    Ws = saved_;
    CurrentSaveSettings() = SaveSettings{};
    FormatsTest::TearDown();
  }
  BlockPtr page_;
  Workspace saved_;
  RunPaths savedPaths_;
};

TEST_F(LoadIntoPage, APictureReplacesTheImageABadFileLeavesIt) {
  BlockPtr pic = OpaquePicture(6, 5);
  ASSERT_EQ(SaveBlockAs(Path("p.tga").c_str(), *pic, kFormatTga, SaveSettings{}), 0);
  std::vector<uint8_t> bad = ReadBytes(Path("p.tga"));
  bad.resize(bad.size() - 10);
  WriteBytes(Path("bad.tga"), bad);
  EXPECT_EQ(LoadImage(Path("bad.tga").c_str()), -1);
  EXPECT_TRUE(Seen("Bad TGA file"));
  for (int i = 0; i < 30; ++i) ASSERT_EQ(page_->data[i], 0xFF102030u) << i;
  ASSERT_EQ(LoadImage(Path("p.tga").c_str()), 0);
  EXPECT_EQ(std::vector<Pixel>(page_->data, page_->data + 30),
            std::vector<Pixel>(pic->data, pic->data + 30));
  // A picture of another size asks, with the Stretch Picture switch; the switch is kept.
  static std::string asked;
  static bool stretchAnswer;
  static int reply;
  AskHandlers handlers{};
  handlers.askOption = [](const char* text, const char*, const char*, const char*, bool* value) {
    asked = text;
    *value = stretchAnswer;
    return reply;
  };
  SetAskHandlers(&handlers);
  BlockPtr small = OpaquePicture(3, 2);
  ASSERT_EQ(SaveBlockAs(Path("s.tga").c_str(), *small, kFormatTga, SaveSettings{}), 0);
  stretchAnswer = true, reply = 1;
  ASSERT_EQ(LoadImage(Path("s.tga").c_str()), 0);
  EXPECT_EQ(
      asked,
      "This Image has a Different Size.\nPage:     6 x    5 Pixels\nImage:    3 x    2 Pixels");
  EXPECT_EQ(CurrentSaveSettings().stretch, 1);
  EXPECT_EQ(page_->Row(0)[0], small->Row(0)[0]) << "stretched: corners on corners";
  EXPECT_EQ(page_->Row(4)[5], small->Row(1)[2]);
  // Without it the picture lands at the top left and the rest stays.
  stretchAnswer = false;
  FillBlock(page_.get(), 7);
  ASSERT_EQ(LoadImage(Path("s.tga").c_str()), 0);
  EXPECT_EQ(CurrentSaveSettings().stretch, 0);
  EXPECT_EQ(page_->Row(1)[2], small->Row(1)[2]);
  EXPECT_EQ(page_->Row(2)[2], 7u);
  EXPECT_EQ(page_->Row(1)[3], 7u);
  // Cancel loads nothing.
  reply = 0;
  FillBlock(page_.get(), 9);
  EXPECT_EQ(LoadImage(Path("s.tga").c_str()), -1);
  EXPECT_EQ(page_->Row(0)[0], 9u);
  SetAskHandlers(nullptr);
}

std::vector<std::string> g_questions;
int g_reply = 0;

TEST_F(LoadIntoPage, OverwritingAndLoadingAProjectAsk) {
  static const AskHandlers ask = {[](const char* text, const char*, const char*) {
                                    g_questions.emplace_back(text);
                                    return g_reply;
                                  },
                                  nullptr};
  SetAskHandlers(&ask);
  g_questions.clear();
  const std::string path = Path("a.tga");
  EXPECT_TRUE(AskOverwrite(path.c_str()));  // nothing to overwrite: nothing asked
  WriteBytes(path, {1});
  EXPECT_FALSE(AskOverwrite(path.c_str()));
  EXPECT_EQ(g_questions,
            std::vector<std::string>{path + "\nThis file already exists!\nDo you want to "
                                            "overwrite it?"});
  MainSet.zorro = 1;  // switched off, as NOERASEALERT does
  EXPECT_TRUE(AskOverwrite(path.c_str()));
  MainSet.zorro = 0;
  EXPECT_EQ(g_questions.size(), 1u);
  // " No " to loading a project as an image leaves the page alone.
  const std::vector<uint8_t> project = {'F', 'O', 'R', 'M', 0,   0,   0, 20, 'Q', 'D',
                                        'P', 'P', 'D', 'L', 'O', 'C', 0, 0,  0,   8,
                                        0,   6,   0,   5,   0,   0,   0, 0};
  WriteBytes(Path("p.vel"), project);
  g_questions.clear();
  EXPECT_EQ(LoadImage(Path("p.vel").c_str()), -1);
  EXPECT_EQ(g_questions,
            std::vector<std::string>{Path("p.vel") + "\nis a Project file.\nLoad it anyway?"});
  for (int i = 0; i < 30; ++i) ASSERT_EQ(page_->data[i], 0xFF102030u) << i;
  SetAskHandlers(nullptr);
}

}  // namespace
}  // namespace vela

namespace vela {
namespace {

std::string Command(const std::string& line) {
  CommandRecord r{};
  r.command = line.c_str();
  ExecuteCommand(&r);
  return r.result;
}

TEST_F(LoadIntoPage, FileCommandsLoadSaveReportAndHold) {
  static const bool added = AddFileCommands();
  ASSERT_TRUE(added);
  EXPECT_EQ(Command("qd_loadpic"), "ERROR -1");
  EXPECT_EQ(Command("qd_savemode tga non"), "deep");
  BlockPtr pic = OpaquePicture(6, 5);
  std::memcpy(page_->data, pic->data, 6 * 5 * 4);
  const std::string path = Path("my pic.tga");
  EXPECT_EQ(Command("qd_savepic \"" + path + "\""), "");
  EXPECT_EQ(Command("qd_fileinfo \"" + path + "\""), "6 5 1");
  EXPECT_EQ(Command("qd_layerhold"), "");
  EXPECT_TRUE(std::filesystem::exists(Path("Vela.tmp")));
  FillBlock(page_.get(), 3);
  EXPECT_EQ(Command("qd_loadimage \"" + path + "\" STRETCH"), "");
  EXPECT_EQ(std::memcmp(page_->data, pic->data, 6 * 5 * 4), 0);
  FillBlock(page_.get(), 3);
  EXPECT_EQ(Command("qd_layerfetch"), "");
  EXPECT_EQ(std::memcmp(page_->data, pic->data, 6 * 5 * 4), 0);
  EXPECT_EQ(Command("qd_loadlayer \"" + Path("none.tga") + "\""), "ERROR -1");

  // A project answers the size of its pictures: DLOC's, or DGBL's before any DLOC.
  const std::vector<uint8_t> dgbl = {'D', 'G', 'B', 'L', 0, 0, 0, 8, 0, 16, 0, 8, 0, 1, 16, 16};
  const std::vector<uint8_t> dloc = {'D', 'L', 'O', 'C', 0, 0, 0, 8, 1, 0x40, 0, 200, 0, 0, 0, 0};
  auto project = [&](std::initializer_list<const std::vector<uint8_t>*> chunks) {
    std::vector<uint8_t> f = {'F', 'O', 'R', 'M', 0, 0, 0, 4, 'Q', 'D', 'P', 'P'};
    for (const auto* c : chunks) f.insert(f.end(), c->begin(), c->end());
    f[7] = static_cast<uint8_t>(f.size() - 8);
    WriteBytes(Path("p.vel"), f);
    return Command("qd_fileinfo \"" + Path("p.vel") + "\"");
  };
  EXPECT_EQ(project({&dgbl, &dloc}), "320 200 1");
  EXPECT_EQ(project({&dgbl}), "16 8 1");
  EXPECT_EQ(project({}), "ERROR -1");
}

}  // namespace
}  // namespace vela
