// Static objects of a translation unit that knows nothing of the settings store.

#include "tests/foundation/exit_program/note.h"

#ifndef KIV_STRANGER
#error "compiled once per place in the link order, under another name"
#endif

namespace {

struct Stranger {
  Stranger() { Note(KIV_STRANGER, "made"); }
  ~Stranger() { Note(KIV_STRANGER, "gone"); }
};

const Stranger stranger;

[[gnu::destructor]] void Last() {
  Note(KIV_STRANGER, "unloaded");
}

}  // namespace
