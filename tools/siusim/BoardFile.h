#pragma once
// Reading a board file (INI syntax; the format is described in README.md and
// at the top of examples/siusim-board.ini).

#include "tools/siusim/Board.h"

#include <string>

namespace siusim {

// Fills cfg from the file; false and a message naming the line's section and
// key for a file that cannot be read or holds a bad value.
bool loadBoardFile(const std::string& path, BoardConfig& cfg, std::string& error);

}  // namespace siusim
