#include "foundation/dat_file_native.h"

#include <chrono>
#include <type_traits>

namespace {

std::uint32_t NowMs() noexcept {
  using std::chrono::milliseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(std::chrono::duration_cast<milliseconds>(now).count());
}

}  // namespace

// No code runs to make it, none to destroy it: no static object can come too early or too late.
constinit LDatFileNativeSystem gDatFileNativeSystem;
static_assert(std::is_trivially_destructible_v<LDatFileNativeSystem>);

namespace {

// Runs after the destructors of all static objects of the program (those are called by exit, this by the unloading
// that follows it) and, by its priority, after other functions of this kind.
[[gnu::destructor(101)]] void CloseAtTheVeryEnd() {
  gDatFileNativeSystem.Close();
}

}  // namespace

LDatFileNativeItem::LDatFileNativeItem(const char* itemName, const char* itemValue) noexcept {
  tstrmcpy(name, itemName);
  tstrmcpy(value, itemValue);
}

LDatFileNativeSection::LDatFileNativeSection(const char* sectionName) noexcept {
  tstrmcpy(name, sectionName);
}

LListIterator<LDatFileNativeItem> LDatFileNativeSection::Find(const char* key) const noexcept {
  LListIterator<LDatFileNativeItem> it(items);
  while (it && !kiv::EqualIgnoringCase(it->name, key)) ++it;
  return it;
}

void LDatFileNativeSection::SetValue(const char* key, const char* value) {
  LListIterator<LDatFileNativeItem> item = Find(key);
  if (!item) {
    if (value != nullptr) items.AddBottom(new LDatFileNativeItem(key, value));
  } else if (value != nullptr) {
    tstrmcpy(item->value, value);
  } else {
    delete items.Detach(item);
  }
}

LDatFileNativeFile::LDatFileNativeFile(const char* filePath) noexcept : lastUse(NowMs()) {
  tstrmcpy(path, filePath);
}

LListIterator<LDatFileNativeSection> LDatFileNativeFile::Find(const char* section) const noexcept {
  LListIterator<LDatFileNativeSection> it(sections);
  while (it && !kiv::EqualIgnoringCase(it->name, section)) ++it;
  return it;
}

void LDatFileNativeFile::SetValue(const char* section, const char* key, const char* value) {
  dirty = true;
  lastUse = NowMs();
  LListIterator<LDatFileNativeSection> found = Find(section);
  if (found) {
    if (key != nullptr) {
      found->SetValue(key, value);
    } else {
      delete sections.Detach(found);
    }
  } else if (key != nullptr) {
    // Made even if there is nothing to put into it: removing a key from a missing section leaves an empty section.
    auto* const made = new LDatFileNativeSection(section);
    sections.AddBottom(made);
    made->SetValue(key, value);
  }
}

void LDatFileNativeFile::GetValue(const char* section, const char* key, const char* defaultValue, char* out) noexcept {
  lastUse = NowMs();
  const char* text = defaultValue;
  if (const LListIterator<LDatFileNativeSection> found = Find(section)) {
    if (const LListIterator<LDatFileNativeItem> item = found->Find(key)) text = item->value;
  }
  tstrmcpy(out, text, kiv::kTextSize);
}

LDatFileNativeFile& LDatFileNativeSystem::Find(const char* path) {
  for (LDatFileNativeFile* file = files_; file != nullptr; file = file->next) {
    if (kiv::EqualIgnoringCase(file->path, path)) return *file;
  }
  auto* const file = new LDatFileNativeFile(path);
  file->Load();
  file->next = files_;
  files_ = file;
  return *file;
}

void LDatFileNativeSystem::SetValue(const char* path, const char* section, const char* key, const char* value) {
  const std::lock_guard guard(mutex_);
  Find(path).SetValue(section, key, value);
  if (closed_) SaveAndForgetAll();
}

void LDatFileNativeSystem::GetValue(const char* path, const char* section, const char* key, const char* defaultValue,
                                    char* out) {
  const std::lock_guard guard(mutex_);
  Find(path).GetValue(section, key, defaultValue, out);
  if (closed_) SaveAndForgetAll();
}

void LDatFileNativeSystem::Close() {
  const std::lock_guard guard(mutex_);
  SaveAndForgetAll();
  closed_ = true;
}

void LDatFileNativeSystem::SaveAndForgetAll() {
  while (files_ != nullptr) {
    LDatFileNativeFile* const file = files_;
    files_ = file->next;
    if (file->dirty) file->Save();
    delete file;
  }
}
