#include <posteffect/IPostEffect.h>

#include <new>

#include "GPUPostEffect.h"

extern "C" {

// The caller starts the service; creating it only sets up the queue.
PE_EXPORT IPostEffect* createPostEffect() { return new (std::nothrow) orvex::GPUPostEffect(); }

// The caller stops the service first: the destructor does not join the worker.
PE_EXPORT void destroyPostEffect(IPostEffect* p) { delete p; }

}  // extern "C"
