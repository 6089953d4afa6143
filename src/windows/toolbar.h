// The main toolbar: a floating Window of 128 by 385 with a gadget per tool number. A press goes
// through SelectGadget, as the keys do, and the gadgets follow the tool in idle time.
#pragma once

namespace vela {

struct Block;
struct Window;

// Opens it at MainSet.winX, winY (kept on the screen), or brings it to the front; null when
// memory ran out (after the message).
Window* OpenToolbar();
// Remembers the position in MainSet and frees the Window.
void CloseToolbar();
bool ToolbarOpen();
Window* ToolbarWindow();
// The middle button: closes it or opens it at its last position.
void ToggleToolbar();
// Redraws the gadgets whose state differs from what they show: the current tool, the drawing
// tool, antialias, grid and the Undo label.
void RefreshToolbar();
// What a toolbar gadget does for the button: mode 0 left, -2 right.
void ToolbarPress(int id, int mode);

// Loop().selectDrawingTool: a right click also opens the Tools window with the tool's settings.
void ToolbarDrawingTool(int slot, int mode);

// The picture of a drawing tool (0..9), 22 by 22, as the toolbar and the Tools window show it.
const Block* DrawingToolIcon(int tool);

// Section Main: opens it when there is a host window to see it in; the position goes back to
// MainSet for SaveMainSettings.
void LoadToolbarSettings();
void SaveToolbarSettings();
// Hooks the middle button, the Undo label and the drawing tools' right click.
void InstallToolbar();

}  // namespace vela
