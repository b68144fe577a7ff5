// The sanitizers call these by name, before main.

#include "tests/support/library_suppressions.h"

#define KIV_SEEN_BY_THE_SANITIZER extern "C" __attribute__((visibility("default")))

KIV_SEEN_BY_THE_SANITIZER const char* __tsan_default_suppressions();
KIV_SEEN_BY_THE_SANITIZER const char* __asan_default_suppressions();
KIV_SEEN_BY_THE_SANITIZER const char* __lsan_default_suppressions();

const char* __tsan_default_suppressions() {
  return kiv::test::kThreadSuppressions;
}

const char* __asan_default_suppressions() {
  return kiv::test::kAddressSuppressions;
}

const char* __lsan_default_suppressions() {
  return kiv::test::kLeakSuppressions;
}
