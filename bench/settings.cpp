// How long until the settings are there, and what reading one costs, beside the desktop's preference store (the
// toolkit's INI file) with the same keys.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "foundation/dat_file.h"
#include "foundation/dat_file_native.h"
#include "platform/qt/preference_store.h"

namespace {

constexpr int kKeys = 50;

// A file of 50 keys in a folder of its own, for the life of the program.
class SettingsFile {
 public:
  SettingsFile() {
    std::string folder = (std::filesystem::temp_directory_path() / "kiv-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    folder_ = folder;
    path_ = folder + "/settings.ini";
    std::ofstream file(path_, std::ios::binary);
    file << "[settings]\r\n";
    for (int i = 0; i < kKeys; ++i) file << Key(i) << "=/home/anna/Music/On hold " << i << "\r\n";
    file << "\r\n";
  }
  ~SettingsFile() { std::filesystem::remove_all(folder_); }
  // Names that begin differently, as real ones do.
  static std::string Key(int i) {
    return std::string(1, static_cast<char>('a' + i % 26)) + "setting" + std::to_string(i);
  }
  const std::string& Path() const { return path_; }

 private:
  std::string folder_;
  std::string path_;
};

const SettingsFile& File() {
  static const SettingsFile file;
  return file;
}

void LoadSettingsFile(benchmark::State& state) {
  for (auto _ : state) {
    LDatFileNativeFile file(File().Path().c_str());
    file.Load();
    benchmark::DoNotOptimize(file.sections.head);
  }
}
BENCHMARK(LoadSettingsFile);

// The toolkit keeps a parsed file while it is unchanged, so each round takes another link to it, and asks for one
// value, which is what makes it parse.
void LoadSettingsFilePeer(benchmark::State& state) {
  const std::string name = "settings/" + SettingsFile::Key(kKeys - 1);
  int round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = File().Path() + "." + std::to_string(round++) + ".ini";
    std::filesystem::create_hard_link(File().Path(), path);
    state.ResumeTiming();
    benchmark::DoNotOptimize(kiv::QtPreferenceStore(path).Get(name));
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}
BENCHMARK(LoadSettingsFilePeer)->Iterations(2000);

void GetLastOfFiftyValues(benchmark::State& state) {
  const LDatFile file(File().Path().c_str());
  const std::string key = SettingsFile::Key(kKeys - 1);
  char out[kiv::kTextSize];
  for (auto _ : state) {
    file.GetValue("settings", key.c_str(), "", out);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(GetLastOfFiftyValues);

void GetLastOfFiftyValuesPeer(benchmark::State& state) {
  kiv::QtPreferenceStore store(File().Path());
  const std::string name = "settings/" + SettingsFile::Key(kKeys - 1);
  for (auto _ : state) benchmark::DoNotOptimize(store.Get(name));
}
BENCHMARK(GetLastOfFiftyValuesPeer);

void SaveSettingsFile(benchmark::State& state) {
  LDatFileNativeFile file((File().Path() + ".saved").c_str());
  LDatFileNativeFile source(File().Path().c_str());
  source.Load();
  std::swap(file.sections.head, source.sections.head);
  for (auto _ : state) file.Save();
}
BENCHMARK(SaveSettingsFile);

}  // namespace
