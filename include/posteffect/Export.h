#pragma once

#define PE_EXPORT __attribute__((visibility("default")))
