#include "foundation/preferences.h"

#include <cstring>
#include <map>
#include <optional>

#include "platform/preference_store.h"
#include "tests/support/services_override.h"

namespace {

class MapStore : public kiv::PreferenceStore {
 public:
  std::optional<std::string> Get(const std::string& name) override {
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void Set(const std::string& name, const std::string& value) override { values[name] = value; }
  void Synchronize() override {}
  std::map<std::string, std::string> values;
};

class Preferences : public testing::Test {
 protected:
  Preferences() { kiv::services.preferences = &store_; }
  void Store(const std::string& value) { store_.values["Settings/Key"] = value; }
  std::string Get(const char* defaultValue) {
    char out[kiv::kTextSize];
    std::memset(out, 'x', sizeof out);
    _LSettingGetString("Settings", "Key", defaultValue, out);
    return out;
  }

  kiv::test::ServicesOverride services_;
  MapStore store_;
};

TEST_F(Preferences, NameIsSectionSlashKey) {
  LSettingSetString("Settings", "HotKeys", "x");
  EXPECT_EQ(store_.values, (std::map<std::string, std::string>{{"Settings/HotKeys", "x"}}));
  const std::string longKey(1000, 'k');
  LSettingSetString("S", longKey.c_str(), "y");
  EXPECT_EQ(store_.values.count("S/" + longKey), 1U);
}
TEST_F(Preferences, StoredTextComesBackEvenEmptyAndNoneIsTheDefault) {
  EXPECT_EQ(Get("fallback"), "fallback");
  Store("");
  EXPECT_EQ(Get("fallback"), "");
  Store("value");
  EXPECT_EQ(Get("fallback"), "value");
  Store(std::string(300, 'v'));
  EXPECT_EQ(Get("fallback"), std::string(259, 'v'));
}
TEST_F(Preferences, DefaultIsCopiedWholeOrCutByChoice) {
  const std::string longDefault(400, 'd');
  char big[500];
  _LSettingGetString("Settings", "Key", longDefault.c_str(), big);
  EXPECT_EQ(big, longDefault);
  _LSettingGetString("Settings", "Key", big, big);  // The default may be the buffer itself.
  EXPECT_EQ(big, longDefault);
  char out[kiv::kTextSize];
  LSettingGetString("Settings", "Key", longDefault.c_str(), out);
  EXPECT_EQ(std::string(out), std::string(259, 'd'));
}
TEST_F(Preferences, BoolIsFalseOnlyWhenItBeginsWithZero) {
  EXPECT_TRUE(LSettingGet<bool>("Settings", "Key", true));
  EXPECT_FALSE(LSettingGet<bool>("Settings", "Key", false));
  Store("");
  EXPECT_TRUE(LSettingGet<bool>("Settings", "Key", true));
  for (const char* value : {"0", "00", "0.5"}) {
    Store(value);
    EXPECT_FALSE(LSettingGet<bool>("Settings", "Key", true)) << value;
  }
  for (const char* value : {"no", "false", "1", " 0", "-0"}) {
    Store(value);
    EXPECT_TRUE(LSettingGet<bool>("Settings", "Key", false)) << value;
  }
}
TEST_F(Preferences, BoolIsStoredAsOneOrZero) {
  LSettingSet<bool>("Settings", "Key", true);
  EXPECT_EQ(store_.values["Settings/Key"], "1");
  LSettingSet<bool>("Settings", "Key", false);
  EXPECT_EQ(store_.values["Settings/Key"], "0");
}
TEST_F(Preferences, NumberIsTheLeadingDigitsAndNoTextTheDefault) {
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), 30);
  Store("");
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), 30);
  Store("12 days");
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), 12);
  Store("many");
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), 0);
  Store("4294967296");
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), INT32_MAX);
  LSettingSet<std::int32_t>("Settings", "Key", INT32_MIN);
  EXPECT_EQ(store_.values["Settings/Key"], "-2147483648");
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), INT32_MIN);
}
TEST_F(Preferences, NoStoreGivesDefaultsAndDropsSets) {
  kiv::services.preferences = nullptr;
  LSettingSetString("Settings", "Key", "x");
  EXPECT_EQ(Get("fallback"), "fallback");
  EXPECT_TRUE(LSettingGet<bool>("Settings", "Key", true));
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "Key", 30), 30);
}

}  // namespace
