// Project files: a whole project, every layer with all of its images, in one IFF file of type
// QDPP. Sequences of the tile store go to disk as their own packed tiles and links, so saving and
// loading an animation never unpacks it; a plain decoder reads the same streams when the page
// has another size.
//
// A save writes a temporary file beside the target and renames it over the target only when all
// went well: a failed, stopped or killed save leaves the old file as it was. A load that replaces
// the project builds the new layers aside and changes nothing before it has read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vela {

// 0, or -1 after its message (or when the user stopped).
int SaveProject(const char* path);
// 0, or non-zero after its message. A file that is not a project goes to the movie loader.
int LoadProject(const char* path, bool adoptSize, bool stretch, bool replace);

// True for a project file, with the size of its pictures (0 when it names none).
bool ProjectInfo(const char* path, int* width, int* height);
bool ProjectInfoOfBytes(std::span<const uint8_t> bytes, int* width, int* height);

// The project's path ("" before the first save or load); the window title shows it.
const std::string& ProjectFileName();
void SetTitle(const char* path);

// The video layer: a sequence file outside the project shown behind every layer. Only its
// reference is kept in the project; no pixels.
struct VideoLayerRef {
  int32_t first = 0;
  uint32_t flags = 0;
  int32_t sourceFirst = 0, sourceLast = 0;
  int32_t mode = 0;
  std::string path;  // empty: no video layer
};
VideoLayerRef& VideoLayer();

struct ProjectFileHooks {
  // A file that is not a project; null until movies exist, which answers the unknown format.
  int (*loadMovie)(const char* path, bool adoptSize, bool stretch) = nullptr;
  // Re-opens the video layer after a load that replaced the project.
  bool (*openVideoLayer)(const VideoLayerRef& video) = nullptr;
};
ProjectFileHooks& ProjectHooks();

// Body compression of the writer: 1 (per-row run code) in every run; tests choose 8 (LZW).
int SetProjectCompression(int compression);
// Test hook: the n-th call of the project writer from now fails (and every later one when
// sticky); 0 turns it off. Counts the open, each write, each size patch and the commit.
void SetProjectWriteFailure(int n, bool sticky);
// Test hook: off sends every tile stream through the plain decoder.
void SetDirectTileStreams(bool on);

// The LZW code of compression 8 over bytes: 9 to 12-bit codes, least significant bit first.
std::vector<uint8_t> LzwEncode(std::span<const uint8_t> in);
// Decodes up to the end code into out (bytes beyond capacity are dropped). False when the
// stream ends before its end code or is broken; *produced says how far it came.
bool LzwDecode(std::span<const uint8_t> in, uint8_t* out, size_t capacity, size_t* produced);

}  // namespace vela
