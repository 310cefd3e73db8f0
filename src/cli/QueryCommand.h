#pragma once

#include "Command.h"

// `vantry query [--json] [--in DIR] [--max N] EXPR`: the indexed files matching a metadata query.
namespace QueryCommand {

extern const Command command;

} // namespace QueryCommand
