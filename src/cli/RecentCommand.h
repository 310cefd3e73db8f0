#pragma once

#include "Command.h"

// `vantry recent [--json] [--folder DIR]`: the recent list as the saved state gives it.
namespace RecentCommand {

extern const Command command;

} // namespace RecentCommand
