#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "Effects.h"
#include "Options.h"
#include "Service.h"

namespace pe::cli {

// Exit codes: done, failed while working, wrong usage.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Context {
  Backend backend;
  std::FILE* in;
  std::FILE* out;
  std::FILE* err;
  bool progress;  // progress lines on err (an interactive terminal)
};

// args without the program name. Errors are one line on ctx.err.
int Run(const std::vector<std::string>& args, const Context& ctx);

// The tuning page (TuneCommand.cpp): serves until the process ends.
int Tune(const std::vector<std::string>& args, const Context& ctx);

// Options shared by the commands that run one effect.
struct EffectOptions {
  const EffectInfo* effect = nullptr;
  bool hasParam0 = false, hasParam1 = false, hasCrop = false;
  Quad param0{}, param1{};
  Crop crop;
};

enum class ModeChoice { kAuto, kPreview, kCapture };

struct ApplyOptions {
  EffectOptions fx;
  ModeChoice mode = ModeChoice::kAuto;
  bool hasPreviewSize = false, hasSize = false;
  Size previewSize, size;
  std::string input;  // empty: the test chart
  std::string output;
  // Several pictures, or directories of them, into the directory output.
  bool many = false;
  std::vector<std::string> inputs;
  std::string format;  // the outputs' extension; empty: each input's own
};

struct StreamOptions {
  EffectOptions fx;
  Size size;
};

struct GalleryOptions {
  bool hasSize = false;
  Size size;
  std::string input;
  std::string output;
};

// --effect, --param0, --param1 and --crop.
bool ParseEffectOptions(const ParsedArgs& parsed, EffectOptions* fx, std::string* error);

// Each fills *options or sets *error to one line; *help is set for --help
// (the options are then not checked).
bool ParseApplyOptions(const std::vector<std::string>& args, ApplyOptions* options, bool* help,
                       std::string* error);
bool ParseStreamOptions(const std::vector<std::string>& args, StreamOptions* options, bool* help,
                        std::string* error);
bool ParseGalleryOptions(const std::vector<std::string>& args, GalleryOptions* options, bool* help,
                         std::string* error);

// The largest common preview that fits in a picture, landscape sizes first.
Size LargestPreviewWithin(int width, int height);

}  // namespace pe::cli
