// Dispatch: keywords, sniffing, the IFF route's words, cut and padded loads, atomic saves, and
// a damaged file of every reader.
#include <cstring>

#include "formats/file_actions.h"
#include "formats_fixture.h"
#include "start/ask.h"

namespace vela {
namespace {

using ByteList = std::vector<uint8_t>;
class Registry : public FormatsTest {};

TEST_F(Registry, KeywordsMatchByTheWordsStartInTableOrder) {
  EXPECT_EQ(FormatKeyword("ilbm12"), 5);
  EXPECT_EQ(FormatKeyword("ILBM8"), 20);
  EXPECT_EQ(FormatKeyword("ilbm"), 2);
  EXPECT_EQ(FormatKeyword("gifanything"), 13);
  EXPECT_EQ(FormatKeyword("Ras"), 15);
  EXPECT_EQ(FormatKeyword("jpg"), 7);
  EXPECT_EQ(FormatKeyword("ti"), -1);  // shorter than the table word
  EXPECT_EQ(FormatKeyword("nothing"), -1);
  // The modules are reached by their keywords and numbered 256 + their row when added: after
  // the 15 rows of the table.
  EXPECT_EQ(FormatKeyword("TIFF"), 256 + 15);
  EXPECT_EQ(FormatKeyword("sgi"), 256 + 16);
  const auto& rows = SaveModeRows();
  ASSERT_EQ(rows.size(), 17u);
  EXPECT_STREQ(rows[5].label, "");
  EXPECT_EQ(rows[5].number, -2);
  std::vector<std::string> behind;
  for (size_t i = 6; i < rows.size(); ++i) behind.push_back(rows[i].label);
  EXPECT_EQ(behind, (std::vector<std::string>{" BMP", " ILBM", " JPEG ", " PCX", " PNG ", " PSD ",
                                              " SGI Image ", " SOFTIMAGE ", " SUN RASTER ",
                                              " TGA 32", " TIFF V6.0 "}));
  EXPECT_STREQ(rows[SaveModeRowFor(20)].label, " ILBM");
  EXPECT_STREQ(rows[SaveModeRowFor(5)].label, " ILBM");
  EXPECT_STREQ(rows[SaveModeRowFor(16)].label, " SUN RASTER ");
  EXPECT_STREQ(rows[SaveModeRowFor(FormatKeyword("sgi"))].label, " SGI Image ");
  EXPECT_EQ(SaveModeRowFor(77), -1);
}

// The Save Image prompt names the format itself, whatever the menu row that ticks it looks like.
TEST_F(Registry, TheSaveImagePromptIsTitledByTheFormat) {
  static std::string title;
  static const AskHandlers handlers{.askText = [](const char* t, char*, int) {
    title = t;
    return false;
  }};
  const AskHandlers* old = SetAskHandlers(&handlers);
  const int oldMode = CurrentSaveSettings().saveMode;
  const ActionRow* save = nullptr;
  for (const ActionRow& r : FileActions())
    if (std::strcmp(r.name, "SaveImage") == 0) save = &r;
  ASSERT_NE(save, nullptr);
  const std::pair<int, const char*> cases[] = {{28, "Save PNG Image"},    {7, "Save JPEG Image"},
                                               {3, "Save TGA Image"},     {5, "Save ILBM12 Image"},
                                               {16, "Save SUN 32 Image"}, {0, "Save DEEP Image"}};
  for (const auto& [mode, expected] : cases) {
    CurrentSaveSettings().saveMode = mode;
    title.clear();
    save->handler();
    EXPECT_EQ(title, expected) << mode;
  }
  CurrentSaveSettings().saveMode = oldMode;
  SetAskHandlers(old);
}

TEST_F(Registry, SnifferTellsTgaOnlyByExtensionAndFormFilesApart) {
  BlockPtr b = OpaquePicture(5, 4);
  ASSERT_EQ(SaveBlockAs(Path("a.tga").c_str(), *b, kFormatTga, SaveSettings{}), 0);
  std::filesystem::copy(Path("a.tga"), Path("a.dat"));
  int w, h;
  EXPECT_EQ(FileType(Path("a.tga").c_str(), &w, &h), kFormatTga);
  EXPECT_EQ(w * 100 + h, 504);
  EXPECT_EQ(CheckedFileType(Path("a.dat").c_str(), &w, &h), -1);
  EXPECT_TRUE(Seen(Path("a.dat") + "\nUnknown file format"));
  EXPECT_EQ(CheckedFileType(Path("none.tga").c_str(), &w, &h), -1);
  EXPECT_TRUE(Seen(Path("none.tga") + "\nFile not found!"));
  // A FORM file named .tga is not a TGA, and its IFF type picks the words of the route.
  auto form = [](const char* type, size_t size) {
    ByteList f = {'F', 'O', 'R', 'M', 0, 0, 0, uint8_t(size - 8)};
    f.insert(f.end(), type, type + 4);
    f.resize(size);
    return f;
  };
  struct Case {
    const char* type;
    size_t size;
    const char* message;
  } cases[] = {{"ILBM", 39, "Bad file"},
               {"QDP2", 48, "This is not an image file!"},
               {"QDPP", 48, "This is a Project file.\nYou must use Load project!"},
               {"ABCD", 48, "Unknown IFF format"}};
  for (const Case& c : cases) {
    WriteBytes(Path("f.tga"), form(c.type, c.size));
    EXPECT_EQ(FileType(Path("f.tga").c_str(), &w, &h), -1) << c.type;  // a project names no size
    BlockPtr into = BlankBlock(2, 2, 7);
    g_messages.clear();
    EXPECT_EQ(LoadFileIntoBlock(Path("f.tga").c_str(), into.get(), -1), -1);
    EXPECT_TRUE(Seen(c.message)) << c.type;
    EXPECT_EQ(into->Row(1)[1], 7u);
  }
}

TEST_F(Registry, LoadsAreCutOrPaddedAtTheBlocksSize) {
  BlockPtr b = OpaquePicture(6, 5);
  SaveSettings s;
  s.png.palette = kPaletteTrue32;
  for (int format : {kFormatTga, kFormatBmp, kFormatPng, kFormatSun24}) {
    const std::string path = Path("p" + std::to_string(format) + ".img");
    ASSERT_EQ(SaveBlockAs(path.c_str(), *b, format, s), 0);
    const std::string named = path + (format == kFormatTga ? ".tga" : "");
    std::filesystem::rename(path, named);
    BlockPtr small = BlankBlock(4, 3, 1), large = BlankBlock(8, 7, 1);
    ASSERT_EQ(LoadFileIntoBlock(named.c_str(), small.get(), -1), 0) << format;
    ASSERT_EQ(LoadFileIntoBlock(named.c_str(), large.get(), -1), 0) << format;
    for (int y = 0; y < 7; ++y)
      for (int x = 0; x < 8; ++x) {
        if (y < 3 && x < 4) EXPECT_EQ(small->Row(y)[x], b->Row(y)[x]) << format;
        const Pixel want = x < 6 && y < 5 ? b->Row(y)[x] : format == kFormatBmp ? 0 : 1;
        EXPECT_EQ(large->Row(y)[x], want) << format << " " << x << "," << y;  // BMP clears first
      }
  }
}

TEST_F(Registry, AFailedWriteAtAnyCallLeavesTheOldFileAndNoLitter) {
  const std::string path = Path("keep.bmp");
  const ByteList old = {'o', 'l', 'd'};
  WriteBytes(path, old);
  BlockPtr b = OpaquePicture(300, 40);  // more than one buffer of output
  for (int n = 1;; ++n) {
    SetWriteFailure(n, true);
    const int r = SaveBlockAs(path.c_str(), *b, kFormatBmp, SaveSettings{});
    SetWriteFailure(0, false);
    size_t files = 0;
    for (auto& e : std::filesystem::directory_iterator(dir_)) files += e.is_regular_file();
    EXPECT_EQ(files, 1u) << "a temporary file stayed after failure " << n;
    if (r == 0) {
      EXPECT_GT(n, 3);
      break;
    }
    EXPECT_TRUE(Seen("Write error!") || Seen("Unable to open file:\n" + path));
    ASSERT_EQ(ReadBytes(path), old) << "failure at call " << n;
    ASSERT_LT(n, 200);
  }
  BlockPtr back = LoadImageBlock(path.c_str());
  ASSERT_TRUE(back);
  EXPECT_EQ(std::memcmp(back->data, b->data, 300 * 40 * 4), 0);
}

TEST_F(Registry, EveryReaderRefusesADamagedFileAndSaysSo) {
  BlockPtr b = AlphaPicture(40, 30);
  SaveSettings s;
  s.tgaCompression = 0;
  s.png.palette = kPaletteTrue32;
  struct Case {
    int format;
    const char* name;
    const char* message;
  } cases[] = {
      {kFormatTga, "a.tga", "Bad TGA file"},
      {kFormatBmp, "a.bmp", "Bad BMP file"},
      {kFormatPcx, "a.pcx", "Bad PCX file"},
      {kFormatSun32, "a.ras", "Bad file"},
      {kFormatSoftimage, "a.pic", "Bad file"},
      {kFormatPng, "a.png", nullptr},
      {kFormatJpeg, "a.jpg", nullptr},
      {FormatKeyword("sgi"), "a.rgb", "SGI Image: Bad file"},
      {FormatKeyword("tiff"), "a.tif", "Tiff 6.0: Read error!"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(SaveBlockAs(Path(c.name).c_str(), *b, c.format, s), 0) << c.name;
    ByteList f = ReadBytes(Path(c.name));
    int w, h;
    ASSERT_GE(FileTypeOfBytes(f, c.name, &w, &h), 0) << c.name;
    // The body cut in half; for PCX the palette stays so the header still passes.
    ByteList cut(f.begin(), f.begin() + f.size() / 2);
    if (c.format == kFormatPcx) cut.insert(cut.end(), f.end() - 769, f.end());
    BlockPtr into = BlankBlock(40, 30, 5);
    g_messages.clear();
    EXPECT_EQ(LoadBytesIntoBlock(cut, c.name, into.get(), -1), -1) << c.name;
    ASSERT_FALSE(g_messages.empty()) << c.name;
    if (c.message) EXPECT_EQ(g_messages.back(), c.message) << c.name;
  }
}

}  // namespace
}  // namespace vela

namespace vela {
namespace {

std::vector<std::string> g_asked;
int g_answer = 1;
const AskHandlers kRecordedAsk = {[](const char* text, const char*, const char*) {
                                    g_asked.emplace_back(text);
                                    return g_answer;
                                  },
                                  nullptr};

class Progress : public FormatsTest {
 protected:
  void SetUp() override {
    FormatsTest::SetUp();
    g_asked.clear();
    SetAskHandlers(&kRecordedAsk);
  }
  void TearDown() override {
    GaugeProbe::Remove();
    SetAskHandlers(nullptr);
    FormatsTest::TearDown();
  }
  // Updates at rows 0, 16, 32 ... below total, each once.
  static bool EverySixteenth(const std::vector<int>& done, int total) {
    if (done.size() != static_cast<size_t>((total + 15) / 16)) return false;
    for (size_t i = 0; i < done.size(); ++i)
      if (done[i] != static_cast<int>(i) * 16) return false;
    return true;
  }
};

TEST_F(Progress, EveryCoderReportsEvery16RowsAndAStopEndsIt) {
  BlockPtr b = OpaquePicture(20, 48);
  SaveSettings s;
  s.png.palette = kPaletteTrue24;
  const int sgi = FormatKeyword("sgi"), tiff = FormatKeyword("tiff");
  struct Case {
    int format;
    const char* name;
    const char* title;
    int lines;  // rows the writer goes through: SGI writes each of its 4 planes in turn
  } cases[] = {
      {kFormatTga, "a.tga", "Saving TGA Image", 48},
      {kFormatBmp, "a.bmp", "Saving BMP Image", 48},
      {kFormatPcx, "a.pcx", "Saving PCX Image", 48},
      {kFormatSun24, "a.ras", "Saving SUN Image", 48},
      {kFormatSoftimage, "a.pic", "Saving SOFTIMAGE Image", 48},
      {kFormatRendition, "a.6rn", "Saving Rendition Image", 48},
      {kFormatPng, "a.png", "Saving PNG Image", 48},
      {kFormatJpeg, "a.jpg", "Saving JPEG Image", 48},
      {sgi, "a.rgb", "Saving SGI Image", 4 * 48},
      {tiff, "a.tif", "Saving TIFF Image", 48},
  };
  for (const Case& c : cases) {
    const std::string path = Path(c.name);
    // A stop asks; " Yes " ends the save and no file is made.
    g_asked.clear();
    g_answer = 1;
    GaugeProbe::Install(2);
    EXPECT_EQ(SaveBlockAs(path.c_str(), *b, c.format, s), -1) << c.name;
    EXPECT_EQ(g_asked, std::vector<std::string>{"Stop Saving?"}) << c.name;
    EXPECT_FALSE(std::filesystem::exists(path)) << c.name;
    // " No " clears the flag and the save goes on, told every 16th row.
    g_answer = 0;
    GaugeProbe::Install(2);
    ASSERT_EQ(SaveBlockAs(path.c_str(), *b, c.format, s), 0) << c.name;
    EXPECT_FALSE(GaugeStopped()) << c.name;
    EXPECT_TRUE(EverySixteenth(GaugeProbe::Done(c.title), c.lines)) << c.name;
    if (c.format == kFormatRendition) continue;  // its written form is not its read form

    const std::vector<uint8_t> f = ReadBytes(path);
    GaugeProbe::Install(0);
    BlockPtr all = BlankBlock(20, 48, 0x11223344);
    ASSERT_EQ(LoadBytesIntoBlock(f, c.name, all.get(), -1), 0) << c.name;
    EXPECT_TRUE(EverySixteenth(GaugeProbe::Done(kLoadingTitle), 48)) << c.name;
    // Stopped at the report of row 16: the rows read so far stay, the load answers 0.
    GaugeProbe::Install(2);
    BlockPtr part = BlankBlock(20, 48, 0x11223344);
    ASSERT_EQ(LoadBytesIntoBlock(f, c.name, part.get(), -1), 0) << c.name;
    int loaded = 0;
    for (int y = 0; y < 48; ++y) loaded += part->Row(y)[0] == all->Row(y)[0];
    EXPECT_TRUE(loaded == 16 || loaded == 17) << c.name << " " << loaded;
  }
}

}  // namespace
}  // namespace vela
