#include "platform/qt/file_panels.h"

#include <QFileDialog>
#include <QFileInfo>

namespace kiv {
namespace {

// A folder as it is, a file's folder; what does not exist is left to the panel.
QString FolderOf(const std::string& startPlace) {
  QString place = QString::fromStdString(startPlace);
  const QFileInfo info(place);
  if (place.isEmpty() || info.isDir()) return place;
  return info.absoluteDir().exists() ? info.absolutePath() : QString();
}

}  // namespace

std::optional<std::string> QtFilePanels::Choose(NativeWindow* parent, const std::string& title,
                                                const std::string& startPlace, bool folder) {
  // A window reference is the address of the toolkit's widget.
  QFileDialog panel(reinterpret_cast<QWidget*>(parent), QString::fromStdString(title), FolderOf(startPlace));
  panel.setFileMode(folder ? QFileDialog::Directory : QFileDialog::ExistingFile);
  panel.setOption(QFileDialog::ShowDirsOnly, folder);
  panel.setOption(QFileDialog::DontUseNativeDialog, !native_);
  panel.setWindowModality(Qt::WindowModal);
  if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) return std::nullopt;
  return panel.selectedFiles().constFirst().toStdString();
}

std::optional<std::string> QtFilePanels::ChooseFolder(NativeWindow* parent, const std::string& title,
                                                      const std::string& startPlace) {
  return Choose(parent, title, startPlace, true);
}

std::optional<std::string> QtFilePanels::ChooseFile(NativeWindow* parent, const std::string& title,
                                                    const std::string& startPlace) {
  return Choose(parent, title, startPlace, false);
}

}  // namespace kiv
