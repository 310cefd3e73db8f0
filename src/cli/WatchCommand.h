#pragma once

#include "Command.h"

// `vantry watch [--json]`: the engine without a window, printing the recent list whenever it changes.
namespace WatchCommand {

extern const Command command;

} // namespace WatchCommand
