// Drives the installed library through its public header only.
#include <posteffect/PostEffect.h>

#include <cstdio>

int main() {
  IPostEffect* fx = createPostEffect();
  if (!fx) return 1;
  const int started = fx->start();
  const int stopped = fx->stop();
  destroyPostEffect(fx);
  std::printf("start %d, stop %d, display %dx%d\n", started, stopped, g_Disp_Width, g_Disp_Height);
  return started == 0 && stopped == 0 ? 0 : 1;
}
