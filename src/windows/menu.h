// The main menu bar and its pop-up menus, built from static tables. Every row names the action
// whose key the pop-up shows at its right, so the keyboard map and the menu share shortcuts.
#pragma once

#include <cstdint>
#include <string>

#include "windows/window.h"

namespace vela {

// A row of a pop-up table; the table ends with a null label.
struct MenuItem {
  const char* label;   // with a leading blank; "" is a separator
  uint32_t colour;     // text colour, or 0 for a plain row
  int32_t id;          // -2 on separators
  int32_t reserved;    // 0
  const char* action;  // whose shortcut is shown, or null
  MenuItem* subMenu;   // or null
  int32_t state;       // 0 plain, 1 ticked, 2 dimmed
};

enum MenuState : int32_t { kMenuPlain = 0, kMenuTicked = 1, kMenuDimmed = 2 };
// Pop-up rows: a frame of kMenuPad, then rows of kMenuRowHeight, separators of
// kMenuSeparatorHeight.
constexpr int kMenuPad = 3;
constexpr int kMenuRowHeight = 18;
constexpr int kMenuSeparatorHeight = 8;

enum MenuDirection : int { kMenuDown = 0, kMenuUp = 1, kMenuRight = 2, kMenuLeft = 3 };

// The tables of the bar's five menus, in title order.
extern MenuItem FileMenu[], EditMenu[], LayersMenu[], FiltersMenu[], HelpMenu[];

// Style of section MainMenu: 0 top, 1 bottom, 2 left, 3 right, 4 free horizontal, 5 free
// vertical.
extern int MenuStyle;

// Lays the bar out for MenuStyle, takes its room from the page area and shows it. False when
// there is no screen or no Window could be made; the keyboard still works then.
bool BuildMainMenu();
// Saves Style, WIN_X, WIN_Y and FullScreen, gives the page its room back and frees the Window.
void CloseMainMenu();
Window* MainMenuWindow();

// Shows a pop-up with its top left (down, right), bottom left (up) or top right (left) at x, y,
// follows the pointer through sub-menus and returns the chosen row, or null for Escape or a
// press outside. Dimmed rows and separators cannot be chosen.
MenuItem* PopupMenu(MenuItem* table, int x, int y, int direction);

// The key of the first key row whose list names the action, as the row spells it; empty when
// no key runs it.
std::string MenuShortcut(const char* action);

// Refreshes the rows that change (labels, ticks, dimming) just before a menu opens.
void RefreshMenu(MenuItem* table);
// What a chosen row does: its own operation where it has one, else its action.
void RunMenuItem(const MenuItem* row);

// Section MainMenu (the load builds nothing), and the MenuOnOff, SwapMenu and OpenMenu actions.
void LoadMainMenuSettings();
void SaveMainMenuSettings();
void AddMainMenuActions();

}  // namespace vela
