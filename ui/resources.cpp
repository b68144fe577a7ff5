#include "ui/resources.h"

#include <QDir>
#include <QFile>

#include "platform/folders.h"
#include "platform/services.h"

namespace kiv {

std::string ResourcePath(const std::string& relativePath) {
  if (services.folders == nullptr) return {};
  const std::optional<std::string> resources = services.folders->Resources();
  return resources ? *resources + "/" + relativePath : std::string();
}

std::string ResourceByName(const std::string& folder, const std::string& name) {
  const std::string folderPath = ResourcePath(folder);
  if (folderPath.empty() || name.empty() || name.find('/') != std::string::npos) return {};
  std::string drawing = folderPath + "/" + name + ".svg";
  if (QFile::exists(QString::fromStdString(drawing))) return drawing;
  const QDir dir(QString::fromStdString(folderPath));
  for (const QFileInfo& file : dir.entryInfoList(QDir::Files, QDir::Name)) {
    if (file.completeBaseName().toStdString() == name) return file.absoluteFilePath().toStdString();
  }
  return {};
}

}  // namespace kiv
