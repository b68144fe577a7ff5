// A program whose static objects use the settings store in their constructors and destructors. The environment names
// the settings file (KIV_EXIT_PROGRAM_FILE); every moment of the program's life that is noted appends an "x" to a text
// in it. It exits with 3.

#include <cstdlib>
#include <string>
#include <thread>

#include "foundation/dat_file.h"
#include "tests/foundation/exit_program/note.h"

namespace {

class Diary {
 public:
  explicit Diary(const char* name) : name_(name) { Note(name_, "made"); }
  ~Diary() { Note(name_, "gone"); }

 private:
  const char* name_;
};

[[gnu::init_priority(101)]] Diary first("first");
Diary ofMain("ofMain");

}  // namespace

void Note(const char* name, const char* moment) {
  const char* const path = std::getenv("KIV_EXIT_PROGRAM_FILE");
  char before[kiv::kTextSize];
  LDatFileGetValue(path, name, moment, "", before);
  LDatFileSetValue(path, name, moment, std::string(before).append("x").c_str());
}

int main() {
  static const Diary local("local");
  std::atexit([] { Note("atexit", "run"); });
  std::thread([] {
    thread_local const Diary ofThread("ofThread");
    Note("thread", "run");
  }).join();
  std::exit(3);
}
