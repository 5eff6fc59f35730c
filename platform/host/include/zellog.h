#pragma once

// Log-mask query of the platform: stores the mask of tag into *mask and
// returns it. The host reads POSTEFFECT_LOG_MASK_<tag>, then
// POSTEFFECT_LOG_MASK (hex), default 0x10 (errors only).
extern "C" unsigned char __zellog_init_mask(const char* tag, int reserved, unsigned char* mask);
