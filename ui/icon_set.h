#pragma once

// The icons that one window shows by turns. The toolkit keeps pictures of every icon object that was ever drawn, so an
// icon that comes back again and again has to be the same object.
//   Ownership  lives in the widget that draws; icons must not outlive the application object.
//   Thread     main.

#include <QIcon>
#include <map>
#include <string>

#include "ui/resources.h"

namespace kiv {

class IconSet {
 public:
  // By its name without extension (ui/resources.h); an empty icon when there is none.
  const QIcon& Icon(const std::string& name) {
    const auto [entry, isNew] = icons_.try_emplace(name);
    if (isNew) entry->second = QIcon(QString::fromStdString(ResourceByName("icons", name)));
    return entry->second;
  }

 private:
  std::map<std::string, QIcon> icons_;
};

}  // namespace kiv
