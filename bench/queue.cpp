// What one finished recording costs the queue beside its level control: taking its record off a long list, and ageing a
// folder full of recordings. Peers: one pass of writing the list's bytes, one pass over the folder with readdir and
// stat.

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/folders.h"
#include "platform/preference_store.h"
#include "platform/services.h"
#include "recorder/recording_queue.h"
#include "recorder/settings.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRecords = 10000;
constexpr int kFiles = 100000;

struct Account : kiv::Folders, kiv::PreferenceStore {
  Account() {
    char folder[] = "/tmp/kiv-bench-XXXXXX";
    home = mkdtemp(folder);
    kiv::services.folders = this;
    kiv::services.preferences = this;
    gSettings.Load();
  }
  ~Account() override { fs::remove_all(home); }
  std::optional<std::string> Home() override { return home; }
  std::optional<std::string> Resources() override { return std::nullopt; }
  std::optional<std::string> Get(const std::string& name) override {
    if (name == "Settings/AutoLevelControl") return "0";
    return std::nullopt;
  }
  void Set(const std::string&, const std::string&) override {}
  void Synchronize() override {}
  std::string home;
};

void RemoveFirstOfTenThousand(benchmark::State& state) {
  const Account account;
  const std::string path = account.home + "/list";
  const LALCListItem item("/recordings/2026-03-07 14-02-09 4711.wav");
  kiv::RecordListFile list(sizeof item);
  list.SetPath(path.c_str());
  for (int i = 0; i < kRecords; ++i) list.Append(&item);
  for (auto _ : state) {
    list.RemoveFirst();
    state.PauseTiming();
    list.Append(&item);
    state.ResumeTiming();
  }
}
BENCHMARK(RemoveFirstOfTenThousand)->Unit(benchmark::kMillisecond)->Iterations(200);

void WriteTheListOnce(benchmark::State& state) {
  const Account account;
  const std::vector<char> bytes(kRecords * sizeof(LALCListItem));
  const int file = open((account.home + "/list").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  for (auto _ : state) benchmark::DoNotOptimize(pwrite(file, bytes.data(), bytes.size(), 0));
  close(file);
}
BENCHMARK(WriteTheListOnce)->Unit(benchmark::kMillisecond)->Iterations(200);

void Fill(const std::string& folder) {
  for (int i = 0; i < kFiles; ++i) {
    close(open((folder + "/2026-03-07 " + std::to_string(i) + ".wav").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  }
}

void AgeAHundredThousandRecordings(benchmark::State& state) {
  const Account account;
  Fill(gSettings.recordingsFolder);
  for (auto _ : state) kiv::DeleteOldRecordings();
}
BENCHMARK(AgeAHundredThousandRecordings)->Unit(benchmark::kMillisecond)->Iterations(5);

void ReadAndStatAHundredThousandFiles(benchmark::State& state) {
  const Account account;
  Fill(gSettings.recordingsFolder);
  for (auto _ : state) {
    DIR* const folder = opendir(gSettings.recordingsFolder);
    while (const dirent* entry = readdir(folder)) {
      struct stat status {};
      benchmark::DoNotOptimize(stat((std::string(gSettings.recordingsFolder) + "/" + entry->d_name).c_str(), &status));
    }
    closedir(folder);
  }
}
BENCHMARK(ReadAndStatAHundredThousandFiles)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
