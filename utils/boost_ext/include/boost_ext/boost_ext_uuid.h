#pragma once

#include <boost/uuid/uuid.hpp>

namespace BoostExt
{

// A new random identifier. Every identity and revision of the model comes from here.
// The generator is made at the first call and seeded once with the current second, so the
// identifiers of a run only have to differ from each other; no structure is read from them.
// Not guarded against concurrent use beyond its creation: the model runs on one thread.
boost::uuids::uuid generateUuid();

}  // namespace BoostExt
