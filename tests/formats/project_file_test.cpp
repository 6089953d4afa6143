// Project files: whole projects saved and loaded again, the file's own bytes, other page sizes,
// both body codes, and every way a save or a load can fail.
#include "formats/project_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "formats/formats.h"
#include "formats_fixture.h"
#include "host/host.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/primitives.h"
#include "pixels/tile_store.h"
#include "project/layers.h"
#include "project/page.h"
#include "start/ask.h"
#include "start/input.h"
#include "start/message.h"
#include "start/random.h"
#include "start/run_paths.h"
#include "start/workspace.h"

namespace vela {
namespace {

std::vector<std::string> g_said;
void Record(const char* text) {
  g_said.emplace_back(text);
}

using Bytes8 = std::vector<uint8_t>;

Bytes8 FileBytes(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes8(std::istreambuf_iterator<char>(f), {});
}
void PutFile(const std::string& path, const Bytes8& b) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), b.size());
}
uint32_t Be32(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

struct Chunk {
  std::string id;
  size_t at;  // of the contents
  uint32_t size;
};
std::vector<Chunk> Chunks(const Bytes8& f) {
  std::vector<Chunk> out;
  for (size_t at = 12; at + 8 <= f.size();) {
    const uint32_t size = Be32(&f[at + 4]);
    out.push_back({std::string(f.begin() + at, f.begin() + at + 4), at + 8, size});
    at += 8 + size + (size & 1);
  }
  return out;
}

// Every image of every layer, and what a layer carries besides.
struct Picture {
  std::vector<std::string> names;
  std::vector<int> opacity, first, last, flags;
  std::vector<std::vector<Pixel>> images;
  bool operator==(const Picture&) const = default;
};

class ProjectFile : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(BuildPixelTables());
    g_said.clear();
    old_sink_ = SetMessageSink(Record);
    std::string pattern = (std::filesystem::temp_directory_path() / "vela_pfile_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    Paths().tempDir = dir_ + "/";
    ASSERT_EQ(CacheStartWithLimit(64 << 20), 1);
    Ws.undoMode = 0;
    Ws.frameRate = 30;
    Ws.displayFlags = 0x21;
    ASSERT_EQ(OpenGraphicsBlocks(), 0);
    Page(100, 70);
  }
  void TearDown() override {
    SetProjectCompression(1);
    SetDirectTileStreams(true);
    SetProjectWriteFailure(0, false);
    GaugeProbe::Remove();
    SetAskHandlers(nullptr);
    BreakFlag = 0;
    VideoLayer() = VideoLayerRef{};
    ReleaseProject();
    ReleasePage();
    CacheStop();
    std::filesystem::remove_all(dir_);
    SetMessageSink(old_sink_);
  }
  void Page(int w, int h) {
    ASSERT_TRUE(MakePage(w, h));
    ClearProject();
  }
  std::string Path(const char* name) const { return dir_ + "/" + name; }
  static bool Said(const std::string& text) {
    for (const auto& m : g_said)
      if (m == text) return true;
    return false;
  }
  static void Paint(int x0, int y0, int x1, int y1, Pixel p) {
    FillRect(Ws.page, x0, y0, x1, y1, p);
    ++Stamp;
  }
  static Picture Snapshot() {
    EXPECT_EQ(StoreOpenImage(), 1);
    Picture p;
    BlockPtr b(AllocBlock(Ws.pageWidth, Ws.pageHeight));
    for (int i = 0; i < LayerCount(); ++i) {
      const Layer* l = LayerAt(i);
      p.names.push_back(l->name);
      p.opacity.push_back(l->opacity);
      p.first.push_back(l->first);
      p.last.push_back(l->last);
      p.flags.push_back(static_cast<int>(l->flags & ~kLayerHidden));
      const int images = l->sequence ? l->last - l->first + 1 : 1;
      for (int k = 0; k < images; ++k) {
        LoadLayerImage(b.get(), l, l->first + k);
        p.images.emplace_back(b->data, b->data + size_t(b->width) * b->height);
      }
    }
    return p;
  }
  // Layers of every kind: a single image, a sequence whose frames share most tiles, a hidden
  // one of low opacity, and one with a duplicated frame.
  void BuildProject(uint32_t seed) {
    SeedRandom(seed);
    auto pen = [] { return MakePixel(255, Random() & 255, Random() & 255, Random() & 255); };
    auto rect = [&](Pixel p) {
      const int x = Random() % Ws.pageWidth, y = Random() % Ws.pageHeight;
      Paint(x, y, x + Random() % 40, y + Random() % 30, p);
    };
    for (int i = 0; i < 5; ++i) rect(pen());
    NewLayer("Walk cycle", false, true, 2, true);
    Paint(0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1, pen());
    ASSERT_EQ(MakeAnim(5), 1);
    for (int k = 1; k <= 5; k += 2) {
      ASSERT_EQ(GotoPosition(2 + k, 1), 1);
      rect(pen());
    }
    LayerAt(1)->opacity = 180;
    LayerAt(1)->lightBefore = -2;
    LayerAt(1)->lightAfter = 3;
    NewLayer("Shadow", false, true, 0, true);
    rect(MakePixel(128, 64, 32, 16));
    LayerAt(2)->opacity = 90;
    LayerAt(2)->flags = kLayerHidden | 0x40;
    LayerAt(2)->last = 4;
    NewLayer("Twice", false, true, 1, true);
    rect(pen());
    ASSERT_EQ(MakeAnim(0), 1);
    ASSERT_EQ(DuplicateFrame(LayerAt(3)->sequence, 0), 1);
    LayerAt(3)->last = 2;
    ASSERT_EQ(SelectLayer(1, 4, true), 1);
    Ws.frameRate = 24.5 + seed % 3;
    Ws.background = 0xFF102030;
    Ws.secondBackground = 0xFFA0B0C0;
    Ws.displayFlags = (Ws.displayFlags & ~0x2004u) | 0x2000;
    VideoLayer() = {3, 0x10, 5, 90, 3, dir_ + "/clip.avi"};
  }
  // A project of other colours, so a load must really replace it.
  void Scramble() {
    ClearProject();
    Paint(0, 0, 9, 9, 0xFFFFFFFF);
    Ws.frameRate = 12;
    Ws.background = 0;
    Ws.displayFlags &= ~0x2004u;
    VideoLayer() = VideoLayerRef{};
  }
  static int DistinctTiles(const ImageSequence* s) {
    std::set<const TileRef*> seen;
    for (SequenceFrame* f = s->first; f; f = f->next)
      for (int i = 0; f->link && i < f->link->tileCount; ++i) seen.insert(f->link->tiles[i]);
    return static_cast<int>(seen.size());
  }

  MessageSink old_sink_ = nullptr;
  std::string dir_;
};

TEST_F(ProjectFile, RandomProjectsComeBackImageForImage) {
  for (uint32_t seed : {1u, 7u, 42u}) {
    for (bool direct : {true, false}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " direct " << direct);
      Page(100, 70);
      BuildProject(seed);
      const Picture before = Snapshot();
      const int tiles = DistinctTiles(LayerAt(1)->sequence);
      const double rate = Ws.frameRate;
      const VideoLayerRef video = VideoLayer();
      ASSERT_EQ(SaveProject(Path("p.vel").c_str()), 0);
      EXPECT_EQ(ProjectFileName(), Path("p.vel"));
      EXPECT_EQ(HostTitle(), "Vela  -  " + Path("p.vel"));
      Scramble();
      SetDirectTileStreams(direct);
      ASSERT_EQ(LoadProject(Path("p.vel").c_str(), true, false, true), 0);
      EXPECT_EQ(Snapshot(), before);
      EXPECT_EQ(Timeline.current, 1);
      EXPECT_EQ(Ws.frameRate, rate);
      EXPECT_EQ(Ws.background, 0xFF102030u);
      EXPECT_EQ(Ws.secondBackground, 0xFFA0B0C0u);
      EXPECT_EQ(Ws.displayFlags & 0x2004u, 0x2000u);
      EXPECT_EQ(VideoLayer().path, video.path);
      EXPECT_EQ(VideoLayer().sourceLast, 90);
      EXPECT_EQ(LayerAt(1)->lightBefore, -2);
      EXPECT_EQ(LayerAt(1)->lightAfter, 3);
      // Both ways keep the sharing of the store: equal tiles are found again.
      EXPECT_EQ(DistinctTiles(LayerAt(1)->sequence), tiles);
      EXPECT_EQ(LayerAt(3)->sequence->first->link, LayerAt(3)->sequence->first->next->link);
    }
  }
}

TEST_F(ProjectFile, ChunksStandInOrderWithTheirSizes) {
  // One blank layer: no LDLT or SRAW. Each row of 100 equal pixels is one run of 5 bytes.
  ASSERT_EQ(SaveProject(Path("one.vel").c_str()), 0);
  Bytes8 f = FileBytes(Path("one.vel"));
  ASSERT_GE(f.size(), 12u);
  EXPECT_EQ(Be32(&f[4]), f.size() - 8);
  std::string order;
  for (const Chunk& c : Chunks(f)) order += c.id + " ";
  EXPECT_EQ(order, "XS24 DGBL DPEL DLOC BGMD CRLR BGP1 BGP2 ANNO LNAM FRAT LRHD DBOD ");
  auto find = [&](const char* id) {
    for (const Chunk& c : Chunks(f))
      if (c.id == id) return c;
    return Chunk{};
  };
  EXPECT_EQ(find("XS24").size, 64u * 44 * 3 + 6);
  EXPECT_EQ(find("DBOD").size, 70u * 5);
  EXPECT_EQ(find("LNAM").size, 10u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(&f[find("LNAM").at])), "Untitled");
  EXPECT_EQ(find("ANNO").size, 40u);
  EXPECT_EQ(f[find("ANNO").at], '$');
  EXPECT_EQ(Be32(&f[find("FRAT").at]), 30000u);
  EXPECT_EQ(Be32(&f[find("LRHD").at + 12]), 0u) << "a single image has no image count";
  EXPECT_EQ(Be32(&f[find("BGMD").at]), 0u);

  // A second frame that shares the first's link costs 12 bytes: 2, 0, 0.
  ASSERT_EQ(MakeAnim(1), 1);
  ASSERT_EQ(SaveProject(Path("two.vel").c_str()), 0);
  f = FileBytes(Path("two.vel"));
  const Chunk sraw = find("SRAW");
  ASSERT_EQ(sraw.size, 12u);
  EXPECT_EQ(Be32(&f[sraw.at]), 2u);
  EXPECT_EQ(Be32(&f[sraw.at + 4]), 0u);
  EXPECT_EQ(Be32(&f[find("LRHD").at + 12]), 2u);

  // A changed frame is a whole tile stream: 100 by 70 is 2 by 2 tiles.
  ASSERT_EQ(GotoPosition(1, 1), 1);
  Paint(70, 0, 99, 0, 0xFF00FF00);
  ASSERT_EQ(SaveProject(Path("two.vel").c_str()), 0);
  f = FileBytes(Path("two.vel"));
  const Chunk tiles = find("SRAW");
  EXPECT_EQ(Be32(&f[tiles.at]), 64u);
  const uint32_t base = Be32(&f[tiles.at + 4]);
  EXPECT_EQ(Be32(&f[tiles.at + 8 + base]), 4u);
  EXPECT_EQ(tiles.size % 2, 0u);
}

TEST_F(ProjectFile, AnotherPageSizeIsStretchedOrCut) {
  Paint(0, 0, 49, 69, 0xFFFF0000);
  Paint(50, 0, 99, 69, 0xFF0000FF);
  ASSERT_EQ(MakeAnim(1), 1);
  ASSERT_EQ(GotoPosition(1, 1), 1);
  Paint(0, 60, 99, 69, 0xFF00FF00);
  ASSERT_EQ(SaveProject(Path("p.vel").c_str()), 0);

  Page(50, 35);
  ASSERT_EQ(LoadProject(Path("p.vel").c_str(), false, true, true), 0);
  ASSERT_EQ(LayerAt(0)->last, 1);
  ASSERT_EQ(GotoPosition(0, 1), 1);
  EXPECT_EQ(GetPixel(Ws.page, 10, 10), 0xFFFF0000u);
  EXPECT_EQ(GetPixel(Ws.page, 40, 10), 0xFF0000FFu);
  ASSERT_EQ(GotoPosition(1, 1), 1);
  EXPECT_EQ(GetPixel(Ws.page, 40, 34), 0xFF00FF00u) << "the second image went through its tiles";
  EXPECT_EQ(GetPixel(Ws.page, 40, 10), 0xFF0000FFu);

  // Cut: the left half of the file fills the small page.
  ASSERT_EQ(LoadProject(Path("p.vel").c_str(), false, false, true), 0);
  ASSERT_EQ(GotoPosition(0, 1), 1);
  EXPECT_EQ(GetPixel(Ws.page, 40, 10), 0xFFFF0000u);

  // A bigger page keeps the picture at the top left; the rest is empty.
  Page(200, 140);
  ASSERT_EQ(LoadProject(Path("p.vel").c_str(), false, false, true), 0);
  ASSERT_EQ(GotoPosition(1, 1), 1);
  EXPECT_EQ(GetPixel(Ws.page, 90, 65), 0xFF00FF00u);
  EXPECT_EQ(GetPixel(Ws.page, 150, 100), 0u);
  EXPECT_EQ(GetPixel(Ws.page, 99, 10), 0xFF0000FFu);
  EXPECT_EQ(GetPixel(Ws.page, 100, 10), 0u);

  // Taking the file's size: the page becomes 100 by 70 again.
  ASSERT_EQ(LoadProject(Path("p.vel").c_str(), true, true, true), 0);
  EXPECT_EQ(Ws.pageWidth, 100);
  EXPECT_EQ(Ws.pageHeight, 70);
  EXPECT_EQ(GetPixel(Ws.page, 50, 10), 0xFF0000FFu);
}

TEST_F(ProjectFile, LzwAndRunCodeBodiesGiveTheSamePixels) {
  // The coder alone: past 4096 codes it clears and starts again.
  SeedRandom(3);
  Bytes8 data(200000);
  for (size_t i = 0; i < data.size(); ++i) data[i] = i % 7000 < 3000 ? Random() & 255 : i % 13;
  const Bytes8 code = LzwEncode(data);
  Bytes8 back(data.size());
  size_t produced = 0;
  ASSERT_TRUE(LzwDecode(code, back.data(), back.size(), &produced));
  EXPECT_EQ(produced, data.size());
  EXPECT_EQ(back, data);
  EXPECT_FALSE(LzwDecode({code.data(), code.size() / 2}, back.data(), back.size(), &produced))
      << "no end code";

  BuildProject(5);
  // A sequence without a stream of its own goes out as XOR differences.
  static SequenceOps plain;
  ImageSequence* s = LayerAt(1)->sequence;
  plain = s->ops;
  plain.StoreFrame = [](ImageSequence* q, const Block* b, int i, int m) {
    return StoreFrame(q, b, i, m);
  };
  s->ops = plain;
  const Picture before = Snapshot();
  ASSERT_EQ(SaveProject(Path("rle.vel").c_str()), 0);
  SetProjectCompression(8);
  ASSERT_EQ(SaveProject(Path("lzw.vel").c_str()), 0);
  std::string ids;
  for (const Chunk& c : Chunks(FileBytes(Path("lzw.vel")))) ids += c.id;
  EXPECT_NE(ids.find("LDLT"), std::string::npos);
  for (const char* name : {"rle.vel", "lzw.vel"}) {
    Scramble();
    ASSERT_EQ(LoadProject(Path(name).c_str(), true, false, true), 0) << name;
    EXPECT_EQ(Snapshot(), before) << name;
  }
}

TEST_F(ProjectFile, FailedAndStoppedSavesLeaveTheOldFile) {
  const std::string path = Path("keep.vel");
  EXPECT_EQ(SaveProject((dir_ + "/no/such/dir.vel").c_str()), -1);
  EXPECT_TRUE(Said("Can't open destination file:\n" + dir_ + "/no/such/dir.vel"));

  BuildProject(9);
  ASSERT_EQ(SaveProject(path.c_str()), 0);
  const Bytes8 good = FileBytes(path);
  Paint(0, 0, 20, 20, 0xFF123456);
  // Fail each call of the writer in turn until the save goes through.
  int n = 1;
  for (;; ++n) {
    g_said.clear();
    SetProjectWriteFailure(n, false);
    if (SaveProject(path.c_str()) == 0) break;
    EXPECT_TRUE(Said(n == 1 ? "Can't open destination file:\n" + path : "Write error!")) << n;
    ASSERT_EQ(FileBytes(path), good) << "call " << n;
    for (const auto& e : std::filesystem::directory_iterator(dir_))
      ASSERT_NE(e.path().filename().string()[0], '.') << "a temporary was left, call " << n;
  }
  EXPECT_GT(n, 10);
  EXPECT_NE(FileBytes(path), good);

  // The stop flag asks; " Yes " ends the save, " No " lets it go on. A stopped save keeps the
  // good file it would replace; where there was none, what it wrote is a whole file.
  const Bytes8 saved = FileBytes(path);
  SetProjectWriteFailure(0, false);
  Paint(0, 0, 5, 5, 0xFF654321);
  for (const std::string& to : {path, Path("stopped.vel")}) {
    GaugeProbe::Install(3);
    EXPECT_EQ(SaveProject(to.c_str()), -1);
  }
  EXPECT_EQ(FileBytes(path), saved);
  const Bytes8 stopped = FileBytes(Path("stopped.vel"));
  ASSERT_GT(stopped.size(), 8u);
  EXPECT_LT(stopped.size(), saved.size());
  EXPECT_EQ((stopped[4] << 24 | stopped[5] << 16 | stopped[6] << 8 | stopped[7]) + 8u,
            stopped.size());
  EXPECT_EQ(GaugeProbe::titles, std::vector<std::string>{"Saving Project"});
  // Rows 0, 16, ... 64 of the first image and the step after it: the stop is seen there.
  EXPECT_EQ(GaugeProbe::updates.size(), 6u);
  GaugeProbe::Install(3);
  static const AskHandlers no = {[](const char* text, const char*, const char*) {
                                   return std::string(text) == "Stop Saving?" ? 0 : 1;
                                 },
                                 nullptr};
  SetAskHandlers(&no);
  EXPECT_EQ(SaveProject(path.c_str()), 0);
  EXPECT_EQ(BreakFlag, 0);
  EXPECT_NE(FileBytes(path), saved);
  // The stop came after the first layer's image: that layer is the whole file.
  GaugeProbe::Install(0);
  ASSERT_EQ(LoadProject(Path("stopped.vel").c_str(), false, false, true), 0);
  EXPECT_EQ(LayerCount(), 1);
}

TEST_F(ProjectFile, AKilledSaveLeavesTheOldFileLoadable) {
  BuildProject(11);
  const std::string path = Path("k.vel");
  ASSERT_EQ(SaveProject(path.c_str()), 0);
  const Bytes8 good = FileBytes(path);
  const Picture before = Snapshot();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    static const GaugeHandlers killer = {[](const char*) {},
                                         [](int done, int total) {
                                           if (done * 2 > total) raise(SIGKILL);
                                         },
                                         [] {}};
    SetGaugeHandlers(&killer);
    Paint(0, 0, 99, 69, 0xFF00FF00);
    SaveProject(path.c_str());
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(FileBytes(path), good);
  Scramble();
  ASSERT_EQ(LoadProject(path.c_str(), true, false, true), 0);
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(ProjectFile, LoadFailuresSayWhatAndKeepWhatStands) {
  const std::string path = Path("p.vel");
  EXPECT_EQ(LoadProject(Path("none.vel").c_str(), true, false, true), -1);
  EXPECT_TRUE(Said("Can't open source file:\n" + Path("none.vel")));

  // Not a project: the movie loader's business.
  PutFile(Path("a.txt"), {'h', 'e', 'l', 'l', 'o', '\n'});
  EXPECT_EQ(LoadProject(Path("a.txt").c_str(), true, false, true), -1);
  EXPECT_TRUE(Said(Path("a.txt") + "\nUnknown file format"));
  ProjectHooks().loadMovie = [](const char*, bool, bool) { return 7; };
  EXPECT_EQ(LoadProject(Path("a.txt").c_str(), true, false, true), 7);
  ProjectHooks().loadMovie = nullptr;

  BuildProject(13);
  ASSERT_EQ(SaveProject(path.c_str()), 0);
  const Picture saved = Snapshot();
  const Bytes8 good = FileBytes(path);
  Scramble();
  const Picture mine = Snapshot();

  // A body before the picture's size is known.
  Bytes8 bad = {'F', 'O', 'R', 'M', 0, 0, 0, 20, 'Q', 'D', 'P', 'P',
                'D', 'B', 'O', 'D', 0, 0, 0, 4,  1,   2,   3,   4};
  PutFile(Path("bad.vel"), bad);
  EXPECT_EQ(LoadProject(Path("bad.vel").c_str(), true, false, true), -1);
  EXPECT_TRUE(Said("Bad file"));
  EXPECT_EQ(Snapshot(), mine);

  // Found by fuzzing: a light table of two billion images, and a chunk with no contents.
  Bytes8 odd = good;
  for (const Chunk& c : Chunks(good)) {
    if (c.id != "LRHD") continue;
    for (int k = 0; k < 4; ++k)
      odd[c.at + 24 + k] = k ? 0 : 0x80, odd[c.at + 40 + k] = k ? 0xFF : 0x7F;
  }
  for (char ch : std::string("CRLR\0\0\0\0")) odd.push_back(static_cast<uint8_t>(ch));
  PutFile(Path("odd.vel"), odd);
  ASSERT_EQ(LoadProject(Path("odd.vel").c_str(), true, false, true), 0);
  for (int i = 0; i < LayerCount(); ++i) {
    EXPECT_GE(LayerAt(i)->lightBefore, LayerAt(i)->first - LayerAt(i)->last);
    EXPECT_LE(LayerAt(i)->lightAfter, LayerAt(i)->last - LayerAt(i)->first);
  }
  Scramble();

  // A picture far bigger than the file could describe is refused before any allocation.
  Bytes8 huge = {'F', 'O', 'R', 'M', 0,   0,   0,   32,  'Q',  'D',  'P',  'P',
                 'D', 'L', 'O', 'C', 0,   0,   0,   8,   0xFF, 0xFF, 0xFF, 0xFF,
                 0,   0,   0,   0,   'D', 'B', 'O', 'D', 0,    0,    0,    0};
  PutFile(Path("huge.vel"), huge);
  g_said.clear();
  EXPECT_EQ(LoadProject(Path("huge.vel").c_str(), false, true, true), -1);
  EXPECT_TRUE(Said(" Not enough memory"));
  EXPECT_EQ(Snapshot(), mine);

  // Cut anywhere before the first body: nothing changes. Cut later: what was read stays.
  const std::vector<Chunk> chunks = Chunks(good);
  size_t firstBody = 0, secondLayer = 0;
  for (const Chunk& c : chunks) {
    if (c.id == "DBOD" && !firstBody)
      firstBody = c.at;
    else if (c.id == "LNAM" && firstBody && !secondLayer)
      secondLayer = c.at - 8;
  }
  for (size_t cut : {size_t{13}, firstBody - 9, secondLayer}) {
    PutFile(Path("short.vel"), Bytes8(good.begin(), good.begin() + cut));
    Scramble();
    const int r = LoadProject(Path("short.vel").c_str(), true, false, true);
    EXPECT_TRUE(r == 0 || r == 1) << cut;
    if (cut < firstBody)
      EXPECT_EQ(Snapshot(), mine) << cut;
    else
      EXPECT_EQ(LayerCount(), 1) << cut;
  }

  // A tile cut short: the plain decoder says so and ends with 1.
  size_t tileCut = 0;
  for (const Chunk& c : chunks)
    if (c.id == "SRAW" && Be32(&good[c.at]) == 64) tileCut = c.at + c.size - 3;
  ASSERT_GT(tileCut, 0u);
  PutFile(Path("short.vel"), Bytes8(good.begin(), good.begin() + tileCut));
  SetDirectTileStreams(false);
  g_said.clear();
  EXPECT_EQ(LoadProject(Path("short.vel").c_str(), true, false, true), 1);
  EXPECT_TRUE(Said("Read error!"));
  EXPECT_EQ(LayerCount(), 2);

  // An LZW body without its end.
  SetProjectCompression(8);
  Scramble();
  ASSERT_EQ(SaveProject(Path("lzw.vel").c_str()), 0);
  Bytes8 lzw = FileBytes(Path("lzw.vel"));
  for (const Chunk& c : Chunks(lzw))
    if (c.id == "DBOD") lzw.resize(c.at + c.size / 2);
  PutFile(Path("lzw.vel"), lzw);
  EXPECT_EQ(LoadProject(Path("lzw.vel").c_str(), true, false, true), 1);

  // Stopping a load after a chunk: " Yes " keeps what was read. Before any body that is
  // nothing; after the first body, the first layer.
  size_t firstBodyChunk = 0;
  while (chunks[firstBodyChunk].id != "DBOD") ++firstBodyChunk;
  Scramble();
  GaugeProbe::Install(1);
  EXPECT_EQ(LoadProject(path.c_str(), true, false, true), 0);
  EXPECT_EQ(Snapshot(), mine);
  EXPECT_EQ(GaugeProbe::titles, std::vector<std::string>{"Loading Project"});
  EXPECT_EQ(BreakFlag, 1);
  GaugeProbe::Install(static_cast<int>(firstBodyChunk) + 1);
  EXPECT_EQ(LoadProject(path.c_str(), true, false, true), 0);
  ASSERT_EQ(LayerCount(), 1);
  EXPECT_EQ(LayerAt(0)->name, saved.names[0]);
  GaugeProbe::Remove();

  // Inserted: the file's layers go behind the current one, in their order.
  Scramble();
  ASSERT_EQ(LoadProject(path.c_str(), false, false, false), 0);
  ASSERT_EQ(LayerCount(), 1 + static_cast<int>(saved.names.size()));
  for (size_t i = 0; i < saved.names.size(); ++i)
    EXPECT_EQ(LayerAt(int(i) + 1)->name, saved.names[i]);
  EXPECT_EQ(Timeline.current, 0 + 1) << "the current layer plus the file's current index";
  EXPECT_EQ(Ws.frameRate, 12) << "an insert takes no project settings";
}

}  // namespace
}  // namespace vela
