// Projects as scripts reach them: save, load and the project's name.
#pragma once

#include "script/dispatcher.h"

namespace vela {

// The project file lies beside this module; the program lends its operations here.
struct ProjectFileOps {
  int (*save)(const char* path) = nullptr;  // 0, or the failure's code
  // The page takes the file's size without asking and the project is replaced.
  int (*load)(const char* path) = nullptr;
  const char* (*name)() = nullptr;  // the project's path, "" when it has none
};
void SetProjectFileOps(const ProjectFileOps& ops);

void CmdSaveProject(CommandRecord* r, const char* args);
void CmdLoadProject(CommandRecord* r, const char* args);
void CmdGetProjectName(CommandRecord* r, const char* args);

}  // namespace vela
