#include "ui/interface_file.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QIcon>
#include <QPushButton>
#include <QUiLoader>
#include <map>
#include <memory>

#include "ui/command_id.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"
#include "ui/widgets.h"

namespace kiv {
namespace {

QStringList& Problems() {
  static QStringList problems;
  return problems;
}

void ReportProblem(const QString& problem) {
  qWarning("Interface file: %s", qUtf8Printable(problem));
  Problems().append(problem);
}

template <typename T>
QWidget* Make(QWidget* parent) {
  return new T(parent);
}

std::map<QString, ControlFactory>& ControlClasses() {
  static std::map<QString, ControlFactory> classes = {
      {"QMainWindow", Make<MainFrame>},   {"QDialog", Make<DialogWindow>},      {"ElapsedTime", Make<ElapsedTime>},
      {"ElidedLabel", Make<ElidedLabel>}, {"StateDisplay", Make<StateDisplay>}, {"StatusLog", Make<StatusLog>},
      {"LevelScale", Make<LevelScale>},
  };
  return classes;
}

class Loader : public QUiLoader {
 public:
  QWidget* createWidget(const QString& className, QWidget* parent, const QString& name) override {
    const auto own = ControlClasses().find(className);
    if (own == ControlClasses().end()) {
      QWidget* widget = QUiLoader::createWidget(className, parent, name);
      // The loader drops an unknown class and says nothing in the end.
      if (widget == nullptr) ReportProblem("unknown class of control " + className);
      return widget;
    }
    QWidget* widget = own->second(parent);
    widget->setObjectName(name);
    return widget;
  }
};

// Made while the toolkit knows no folder of plug-ins: it would load those of its form designer, which bring whole
// further toolkits with them and no control of ours.
std::unique_ptr<Loader> MakeLoader() {
  const QStringList folders = QCoreApplication::libraryPaths();
  QCoreApplication::setLibraryPaths({});
  auto loader = std::make_unique<Loader>();
  QCoreApplication::setLibraryPaths(folders);
  return loader;
}

Loader& TheLoader() {
  static const std::unique_ptr<Loader> loader = MakeLoader();
  return *loader;
}

void FillButtonBox(QDialogButtonBox& box) {
  const QString commands = box.property("commands").toString();
  if (commands.isEmpty()) return;
  for (const QString& text : commands.split(',')) {
    const std::uint32_t command = CommandFromText(text);
    QPushButton* button = nullptr;
    // A window with nothing to take back has Close alone, and that is its OK.
    if (command == kCommandOk && commands == text) {
      button = box.addButton(QDialogButtonBox::Close);
      button->setAutoDefault(false);
    } else if (command == kCommandOk) {
      button = box.addButton(QDialogButtonBox::Ok);
      button->setDefault(true);
    } else if (command == kCommandCancel) {
      button = box.addButton(QDialogButtonBox::Cancel);
    } else {
      ReportProblem("button box with command " + text);
      continue;
    }
    button->setProperty("command", text);
    KeepThemeIconOnly(*button);
  }
}

void ConnectCommand(QWidget& window, QWidget& control) {
  const QVariant property = control.property("command");
  if (!property.isValid()) return;
  const std::uint32_t command = CommandFromText(property.toString());
  if (command == 0) {
    ReportProblem("bad command " + property.toString());
    return;
  }
  const auto send = [&window, command] { SendCommand(WindowRefOf(&window), command); };
  if (auto* button = qobject_cast<QAbstractButton*>(&control)) {
    QObject::connect(button, &QAbstractButton::clicked, &window, send);
  } else if (auto* slider = qobject_cast<QAbstractSlider*>(&control)) {
    QObject::connect(slider, &QAbstractSlider::valueChanged, &window, send);
  } else {
    ReportProblem("command on a control that sends none: " + control.objectName());
  }
}

}  // namespace

std::uint32_t CommandFromText(const QString& text) {
  const QByteArray bytes = text.toLatin1();
  if (bytes.size() != 4) return 0;
  std::uint32_t command = 0;
  for (const char c : bytes) command = command << 8 | static_cast<unsigned char>(c);
  return command;
}

void RegisterControlClass(const QString& className, ControlFactory factory) {
  ControlClasses()[className] = factory;
}

QStringList TakeInterfaceProblems() {
  return std::exchange(Problems(), {});
}

QWidget* LoadInterfaceWindow(const std::string& name) {
  const std::string path = ResourcePath("interface/main/" + name + ".ui");
  if (path.empty()) return nullptr;
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::ReadOnly)) return nullptr;
  QWidget* window = TheLoader().load(&file);
  auto* target = dynamic_cast<ToolkitWindow*>(window);
  if (target == nullptr) {
    ReportProblem(QString::fromStdString(name) + " is no window: " + TheLoader().errorString());
    delete window;
    return nullptr;
  }
  for (auto* box : window->findChildren<QDialogButtonBox*>()) FillButtonBox(*box);
  for (QWidget* control : window->findChildren<QWidget*>()) {
    ConnectCommand(*window, *control);
    // Return presses the default button of the box and no other.
    auto* button = qobject_cast<QPushButton*>(control);
    if (button != nullptr && qobject_cast<QDialogButtonBox*>(button->parentWidget()) == nullptr) {
      button->setAutoDefault(false);
    }
    // Room for the sample, so that widths follow the desktop's font.
    const QString sample = control->property("sampleText").toString();
    if (!sample.isEmpty()) control->setMinimumWidth(control->fontMetrics().horizontalAdvance(sample));
    const QVariant number = control->property("controlId");
    if (!number.isValid()) continue;
    if (!target->controls.emplace(number.toInt(), control).second) {
      ReportProblem("number used twice: " + number.toString());
    }
  }
  return window;
}

}  // namespace kiv
