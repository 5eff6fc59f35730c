// posteffect: drives libposteffect from the command line as a camera service would.

#include <posteffect/IPostEffect.h>
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Commands.h"
#include "ImageIO.h"

namespace {

// An interrupted run leaves no half-written output behind.
void OnTerminate(int sig) {
  pe::cli::RemovePendingOutput();
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

}  // namespace

int main(int argc, char** argv) {
  // A closed pipe downstream must end a stream with a write error, not a signal.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, OnTerminate);
  std::signal(SIGTERM, OnTerminate);
  // The tool reports every failure itself, naming the input; the library's
  // own log lines are for whoever asks for them with POSTEFFECT_LOG_MASK.
  setenv("POSTEFFECT_LOG_MASK", "0", 0);
#ifdef __GLIBC__
  // A photo's pictures are tens of megabytes each, past what the allocator
  // keeps once freed: every picture of a folder would map fresh pages and
  // fault each in (five times the faults on 12-megapixel JPEGs). Kept in the
  // heap, the next picture reuses them.
  mallopt(M_MMAP_THRESHOLD, 512 << 20);
  mallopt(M_TRIM_THRESHOLD, 1024 << 20);
#endif
  const std::vector<std::string> args(argv + 1, argv + argc);
  const pe::cli::Context ctx{
      {createPostEffect, destroyPostEffect}, stdin, stdout, stderr, isatty(STDERR_FILENO) == 1};
  const int rc = pe::cli::Run(args, ctx);
  if (std::fflush(stdout) != 0 && rc == pe::cli::kExitOk) return pe::cli::kExitFailure;
  return rc;
}
