#pragma once

#include "Command.h"

// `vantry dump [--json] FILE`: any property list or keyed archive in readable form.
namespace DumpCommand {

extern const Command command;

} // namespace DumpCommand
