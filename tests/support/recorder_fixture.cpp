#include "tests/support/recorder_fixture.h"

#include <atomic>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>

#include "platform/clock.h"
#include "platform/folders.h"
#include "recorder/settings.h"
#include "tests/support/memory_preferences.h"

namespace kiv::test {

struct RecorderFixture::Account : Folders, Clock, MemoryPreferences {
  explicit Account(std::string path) : home(std::move(path)) {}

  std::optional<std::string> Home() override { return home; }
  std::optional<std::string> Resources() override { return resources; }

  std::int64_t UnixMilliseconds() override { return now; }

  const std::string home;
  std::optional<std::string> resources;
  std::atomic<std::int64_t> now = std::int64_t{std::time(nullptr)} * 1000;
};

RecorderFixture::RecorderFixture() : account_(std::make_unique<Account>(home.Path())), before_(services) {
  services.folders = account_.get();
  services.clock = account_.get();
  services.preferences = account_.get();
  gSettings.Load();
}

RecorderFixture::~RecorderFixture() {
  services = before_;
}

void RecorderFixture::SetLocalTime(int year, int month, int day, int hour, int minute, int second) {
  std::tm local{};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = -1;
  account_->now = std::int64_t{std::mktime(&local)} * 1000;
}

void RecorderFixture::SetPreference(const std::string& key, const std::string& value) {
  account_->Set("Settings/" + key, value);
}

std::string RecorderFixture::Preference(const std::string& key) const {
  return account_->Get("Settings/" + key).value_or("");
}

void RecorderFixture::SetResources(const std::string& folder) {
  account_->resources = folder;
}

std::string RecorderFixture::DataPath(const std::string& name) const {
  return home.Path() + "/Kiv/" + name;
}
std::string RecorderFixture::RecordingPath(const std::string& name) const {
  return home.Path() + "/Kiv/Recordings/" + name;
}

std::vector<std::string> RecorderFixture::TimedLogLines() const {
  std::set<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(DataPath("Logs"))) files.insert(entry.path());
  std::vector<std::string> lines;
  for (const auto& file : files) {
    const std::string text = ReadFile(file);
    for (std::size_t begin = 0, end; (end = text.find('\r', begin)) != std::string::npos; begin = end + 1) {
      lines.push_back(text.substr(begin, end - begin));
    }
  }
  return lines;
}

std::vector<std::string> RecorderFixture::LogLines() const {
  constexpr std::size_t kTimeLength = 9;
  std::vector<std::string> lines = TimedLogLines();
  for (std::string& line : lines) line.erase(0, kTimeLength);
  return lines;
}

}  // namespace kiv::test
