// What the sanitizers are told in programs with windows.

// The toolkit and what lies below it are the distribution's and not instrumented: the sanitizer sees what these
// libraries allocate, copy and free, but not by what they order it between the main thread and threads of their own,
// which draw in parts, read folders and listen to the display and the session bus. So what they do themselves is left
// out, and nothing else: a race of our own code is reported, in a handler that the toolkit has called, too.
// Suppressing their races by name would hide those as well, since every handler has the toolkit among its callers.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
  return "ignore_noninstrumented_modules=1";
}

// It copies a name with a known length out of an answer of the display, which ends right after it; strict string checks
// want a terminator there.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_suppressions();
extern "C" const char* __asan_default_suppressions() {
  return "interceptor_via_lib:libxkbcommon-x11.so.0\n";
}
