#pragma once

// All the free Sl::write / Sl::read functions. Code that must stay light (the
// runtime) includes sl_write_read_std.h alone.

#include "revision_saveload/sl_write_read_std.h"
#include "revision_saveload/sl_write_read_glm.h"
#include "revision_saveload/sl_write_read_boost.h"
