#include "script/project_commands.h"

namespace vela {

namespace {

ProjectFileOps g_ops;

// The file name of the arguments through op; a missing name has already answered ERROR -1.
void RunFileOp(CommandRecord* r, const char* args, int (*op)(const char*)) {
  char path[kWorkSize];
  if (!ParseFileName(r, args, path)) return;
  const int result = op ? op(path) : -1;
  if (result != 0)
    Fail(r, result);
  else
    Done(r);
}

}  // namespace

void SetProjectFileOps(const ProjectFileOps& ops) {
  g_ops = ops;
}

void CmdSaveProject(CommandRecord* r, const char* args) {
  RunFileOp(r, args, g_ops.save);
}

void CmdLoadProject(CommandRecord* r, const char* args) {
  RunFileOp(r, args, g_ops.load);
}

void CmdGetProjectName(CommandRecord* r, const char*) {
  Answer(r, g_ops.name ? g_ops.name() : "");
}

}  // namespace vela
