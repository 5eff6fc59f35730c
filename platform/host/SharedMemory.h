#pragma once

#include <cstddef>

namespace pe {
namespace platform {

// memfd_create + ftruncate + mmap(MAP_SHARED). Returns the fd (negative on
// failure) and the mapping in *base; size is rounded to whole pages.
int MapSharedMemory(const char* name, size_t size, void** base, size_t* mappedSize);
void UnmapSharedMemory(int fd, void* base, size_t mappedSize);

}  // namespace platform
}  // namespace pe
