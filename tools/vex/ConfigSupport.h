// What the config commands and the archive commands share: the options vex compiles and decodes
// configs with, and how a config error is shown in its text.
#pragma once

#include "archivefile/config/Rapify.h"

namespace vex {

// The extended syntax, and the offset style unless the text chooses another, as modders expect;
// with `reference`, none: the library's own default behaviour.
int configOptions(bool reference);

// Under the error line of a failed compile: the line the error was found in, what defines made of
// it when they changed it, and a marker under the offending token where that is known.
void printConfigErrorPlace(const archivefile::Rapify& compiler);

}  // namespace vex
