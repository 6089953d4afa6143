// The drawing tools: a record of settings per tool that, on activation, configures the draw
// context of the stroke engine (brush, texture, pressure and speed, spacing, wet response).
#pragma once

#include <cstdint>
#include <span>

#include "pixels/block.h"
#include "start/actions.h"

namespace vela {

// The Pen reads speed inverted: a fast stroke runs towards Size 2.
struct PenRecord {
  int32_t pressure = 1, speed = 1, limit = 25;
  int32_t size1 = 3;  // radius at minimum effect
  int32_t size2 = 0;  // radius at maximum effect: the pressure target
};

struct PointeRecord {  // Propelling Pencil
  int32_t pressure = 1, speed = 1, limit = 25;
  int32_t opacity = 255;
  int32_t inversion = 0;
};

// The dab tools 2 to 7 keep 32 words; these are the ones with a meaning.
enum DabWord : int {
  kWordPressure = 0,
  kWordSpeed = 1,
  kWordLimit = 2,
  kWordSize = 3,
  kWordPower = 4,
  kWordStep = 5,
  kWordAutoStep = 6,
  kWordInversion = 7,
  kWordPreset = 9,
  kWordEnvelope = 10,   // to 25: 64 bytes, byte 0 at the rim
  kWordResponse = 29,   // Airbrush opacity, or the response's ceiling, percent
  kWordStiffness = 30,  // Oil: Silk, Hard, Medium, Soft
  kWordNoDrying = 31,
};
struct DabRecord {
  int32_t word[32] = {};
};

struct CustomBrushRecord {
  int32_t pressure = 0, speed = 0, limit = 25;
  int32_t opacity = 255;
  int32_t step = 0, autoStep = 1, smooth = 0, inversion = 0;
};

struct ToolRecords {
  PenRecord pen;
  PointeRecord pointe;
  DabRecord dab[8];  // indexed by tool number, 2 to 7
  CustomBrushRecord custom;
  int32_t current = 0;         // 0..9
  int32_t lastActivated = -1;  // a change of tool makes the wet base stale
};
extern ToolRecords Tools;

constexpr int kEnvelopePresetCount = 12;
// The 64 bytes of a preset envelope, byte 0 at the rim; index 0..11.
const uint8_t* EnvelopePreset(int index);

// The envelope bytes of a dab tool's record.
void GetEnvelope(const DabRecord& record, uint8_t out[64]);
void SetEnvelope(DabRecord* record, const uint8_t bytes[64]);
// Copies a preset (wrapping at both ends) into the record and its preset word.
void ApplyEnvelopePreset(int tool, int index);

// A tool's "Reset": its record back to the defaults, envelope byte i = 4·i.
void ResetToolRecord(int tool);
void ResetAllToolRecords();

// Recomputes the whole draw context from the current tool's record. 0, or -1 when only a 1×1
// brush could be had.
int ActivateTool();
// Chooses a tool (0..9) and activates it; choosing a tool puts manual undo steps back to
// automatic, unless the tool builds up colour.
void SelectDrawingTool(int tool);
// Clamps to the slider's limits, activates, and returns the old value.
int SetToolSize(int value);
int ToolSize();
// "Drying": off keeps a wet tool's strokes mixing with the ones before; the base goes stale.
void SetToolDrying(bool drying);
// "Power" of a dab tool, the opacity of the Propelling Pencil or of the custom Brush, 0..255.
void SetToolPower(int tool, int power);

void PreviousTool();
void NextTool();
void ResetTool();
// Steps the current tool's size: by 1 within the slider's limits, or for the custom Brush to
// 110% or 90% of both dimensions a step. The wheel and the size keys come here.
void ChangeToolSize(int steps);
void IncreaseToolsSize();
void DecreaseToolsSize();

// The custom image tools 8 and 9 stamp with; the tools take ownership. Null until one is cut or
// the tool makes its transparent 4×4.
void SetCustomImage(Block* image);
const Block* CustomImage();

// One Newton step from a power-of-two guess.
uint32_t QuickSqrt(uint32_t x);
// The Oil's bristle dab: a mask of side × side made of small round bristles of radius bristle.
void FillBristleDab(uint8_t* mask, int side, const uint8_t profile[64], int power, int bristle);

// Section "Pens".
void LoadPensSettings();
void SavePensSettings();
// The name a tool is saved and selected under ("Pen", "Pointe", "Wet" ...); null for none.
const char* ToolKey(int tool);
int ToolFromKey(const char* key);  // any case; -1 for none

// Loop().pressUndo: a press takes the wet base and opens an undo step, except that a tool kept
// wet goes on mixing with the strokes before it.
void PressToolUndo(bool left, bool right);

// The drawing tools' actions, and the shape tools'.
std::span<const ActionRow> ToolActions();

}  // namespace vela
