#pragma once

// Preferences in an INI file of the user's configuration folder, which other programs and people may edit, too.
//
//   File     text that is valid UTF-8 is stored readable, other bytes as a byte array; both come back bit for bit. A
//            value that somebody wrote by hand with bare commas comes back with ", " at each.
//   Errors   a file that is a folder, a pipe or the like, or that cannot be written, keeps nothing.
//   Cost     a set takes some ms: lock file, new file, sync, rename.
//   Needs    no application object and no event loop.

#include <mutex>
#include <string>

#include "platform/preference_store.h"

namespace kiv {

class QtPreferenceStore : public PreferenceStore {
 public:
  // com.Oskmera.Kiv.ini in the user's configuration folder.
  QtPreferenceStore();
  explicit QtPreferenceStore(std::string path);

  std::optional<std::string> Get(const std::string& name) override;
  void Set(const std::string& name, const std::string& value) override;
  void Synchronize() override;

  const std::string& Path() const noexcept { return path_; }

 private:
  const std::string path_;
  std::mutex mutex_;
};

}  // namespace kiv
