#pragma once

#include <iosfwd>

#include "render_options.h"

namespace ScintariRender
{

// Loads, runs and draws the effect as the options say; needs a QGuiApplication
// made with shared GL contexts. Returns the exit code of the program.
int renderEffect(const Options& options, std::ostream& out, std::ostream& err);

}  // namespace ScintariRender
