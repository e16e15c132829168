// The commands of scenario-log that print to standard output, each in a file
// of its own with its options (`report`, which writes a page, is in page/).
#pragma once

#include <memory>

#include "commands/Command.h"

namespace scenariolog {

std::unique_ptr<Command> makeSummaryCommand();
std::unique_ptr<Command> makeShowCommand();
std::unique_ptr<Command> makeGrepCommand();
std::unique_ptr<Command> makeDiffCommand();
std::unique_ptr<Command> makeChangesCommand();
std::unique_ptr<Command> makeCompareCommand();
std::unique_ptr<Command> makeSqlCommand();
std::unique_ptr<Command> makeSchemaCommand();
std::unique_ptr<Command> makeExportCommand();

}  // namespace scenariolog
