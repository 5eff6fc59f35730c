/* Preloaded into leak-checked test runs. eglTerminate unloads the GL driver,
 * and LeakSanitizer then reports the driver's process-lifetime allocations
 * with frames of an unknown module that no suppression can name. Keeping
 * every module mapped until exit lets the suppressions match them. */
int dlclose(void* handle) {
  (void)handle;
  return 0;
}
