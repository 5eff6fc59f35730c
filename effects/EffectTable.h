#pragma once

#include "GEManager.h"

namespace pe {

// Effect numbers of the "GPU-effect" parameter mapped to the built effects.
GEEffectTable BuiltinEffects();

}  // namespace pe
