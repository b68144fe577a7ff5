// kiv-screen-picture FILE.png: a picture of the whole screen, as another program sees it.

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kiv-screen-picture FILE.png\n");
    return 2;
  }
  const QGuiApplication application(argc, argv);
  QScreen* const screen = QGuiApplication::primaryScreen();
  if (screen != nullptr && screen->grabWindow(0).save(argv[1])) return 0;
  std::fprintf(stderr, "kiv-screen-picture: cannot write %s\n", argv[1]);
  return 1;
}
