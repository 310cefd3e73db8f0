#pragma once

#include "Command.h"

// `vantry tags ...` and `vantry rating ...`: the tag store from a terminal.
namespace TagsCommand {

extern const Command tagsCommand;
extern const Command ratingCommand;

} // namespace TagsCommand
