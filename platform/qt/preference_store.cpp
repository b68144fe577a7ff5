#include "platform/qt/preference_store.h"

#include <fcntl.h>
#include <unistd.h>
#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <utility>

namespace kiv {
namespace {

QString FileName(const std::string& bytes) {
  return QFile::decodeName(QByteArray::fromStdString(bytes));
}

// Opening anything but a regular file might wait for ever.
bool MayBeOpened(const std::string& path) {
  const QFileInfo file(FileName(path));
  return file.isFile() || !file.exists();
}

// Can a file of that many bytes be written beside this one? The toolkit writes a new file and renames it over the old
// one, but does not notice when only a part of it could be written: on a full disk that would lose what was there.
bool HasRoomFor(qint64 bytes, const QFileInfo& file) {
  const int fd = open(QFile::encodeName(file.absolutePath()).constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (fd < 0) return true;  // No such files here, or no such folder yet: try and see.
  const QByteArray probe(bytes, 'x');
  const bool fits = write(fd, probe.constData(), static_cast<std::size_t>(probe.size())) == probe.size();
  close(fd);
  return fits;
}

std::string DefaultPath() {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  return QFile::encodeName(folder + QStringLiteral("/com.Oskmera.Kiv.ini")).toStdString();
}

std::optional<std::string> Text(const QVariant& value) {
  switch (value.typeId()) {
    case QMetaType::QByteArray:
      return value.toByteArray().toStdString();
    case QMetaType::QStringList:  // Commas outside quotes make a list.
      return value.toStringList().join(QStringLiteral(", ")).toStdString();
    default:
      if (!value.canConvert<QString>()) return std::nullopt;
      return value.toString().toStdString();
  }
}

}  // namespace

QtPreferenceStore::QtPreferenceStore() : QtPreferenceStore(DefaultPath()) {}

QtPreferenceStore::QtPreferenceStore(std::string path) : path_(std::move(path)) {}

// A settings object belongs to the thread that made it, so each call has its own; the parsed file behind them is
// shared, and the mutex keeps the calls apart.

std::optional<std::string> QtPreferenceStore::Get(const std::string& name) {
  const std::lock_guard guard(mutex_);
  if (!MayBeOpened(path_)) return std::nullopt;
  const QSettings settings(FileName(path_), QSettings::IniFormat);
  return Text(settings.value(QString::fromStdString(name)));
}

void QtPreferenceStore::Set(const std::string& name, const std::string& value) {
  const std::lock_guard guard(mutex_);
  if (!MayBeOpened(path_)) return;
  // Every byte may be written as an escape of four characters, names three times as long; headers have room in the
  // rest.
  const QFileInfo file(FileName(path_));
  if (!HasRoomFor(file.size() + static_cast<qint64>(name.size() + value.size()) * 4 + 100, file)) return;
  QSettings settings(FileName(path_), QSettings::IniFormat);
  const QString text = QString::fromStdString(value);
  // What does not survive the way to text and back is not text.
  const bool isText = text.toStdString() == value;
  settings.setValue(QString::fromStdString(name), isText ? QVariant(text) : QVariant(QByteArray::fromStdString(value)));
  settings.sync();
}

void QtPreferenceStore::Synchronize() {
  // Every set has written its value before it returned.
}

}  // namespace kiv
