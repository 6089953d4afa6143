// The script commands that load and save pictures, appended to the command table at start-up.
#pragma once

namespace vela {

// qd_loadpic, qd_loadimage, qd_loadlayer, qd_savepic, qd_savelayer, qd_saveimage, qd_savemode,
// qd_fileinfo, qd_savedisplay, qd_layerhold, qd_layerfetch. False when the table is full.
bool AddFileCommands();

}  // namespace vela
