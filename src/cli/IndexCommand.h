#pragma once

#include "Command.h"

// `vantry index status [--json] | update [DIR] | rebuild`: the metadata index and its crawler.
namespace IndexCommand {

extern const Command command;

} // namespace IndexCommand
