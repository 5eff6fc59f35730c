#pragma once

// Everything a camera service needs: the factory, the two interfaces, the
// effect parameter keys and the exported globals.
#include <posteffect/GECameraParameters.h>
#include <posteffect/Globals.h>
#include <posteffect/IPostEffect.h>
