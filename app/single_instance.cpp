#include "app/single_instance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <utility>

#include "foundation/locked_open.h"

namespace kiv {
namespace {

constexpr char kLockName[] = ".kiv-recorder.lock";
constexpr char kSocketName[] = ".kiv-recorder.socket";
constexpr int kRetryMs = 50;
constexpr std::size_t kTokenSize = 256;
constexpr char kDone = '!';

using Clock = std::chrono::steady_clock;

// A socket's address holds about a hundred bytes, less than many a folder's path: this one leads there by way of the
// open folder.
sockaddr_un AddressIn(int folder) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder, kSocketName);
  return address;
}

int OpenSocket() {
  return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

const sockaddr* Generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

SingleInstance::SingleInstance(std::string dataFolder)
    : folder_(std::move(dataFolder)), folderDescriptor_(open(folder_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

SingleInstance::~SingleInstance() {
  notifier_.reset();
  if (socket_.IsOpen()) unlink(PathOf(kSocketName).c_str());
  // The lock stays until the process ends: the settings are written after main.
  static_cast<void>(lock_.Release());
}

std::string SingleInstance::PathOf(const char* name) const {
  return folder_ + '/' + name;
}

bool SingleInstance::Claim() {
  if (lock_.IsOpen()) return true;
  lock_ =
      LReadWriteFile(OpenLocked(PathOf(kLockName).c_str(), O_RDWR | O_CREAT | O_NONBLOCK, FileLock::Exclusive, 0600));
  return lock_.IsOpen() || errno != EAGAIN;
}

bool SingleInstance::AskOnce(Clock::time_point limit) const {
  const sockaddr_un address = AddressIn(folderDescriptor_.Descriptor());
  const OwnedDescriptor connection(OpenSocket());
  if (!connection.IsOpen() || connect(connection.Descriptor(), Generic(address), sizeof address) != 0) return false;
  // On some desktops a window may come to the front only with the token of the start that asks for it.
  const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
  if (token == nullptr) token = "";
  send(connection.Descriptor(), token, std::strlen(token) + 1, MSG_NOSIGNAL);
  pollfd answer = {connection.Descriptor(), POLLIN, 0};
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now()).count();
  if (poll(&answer, 1, left > 0 ? static_cast<int>(left) : 0) != 1) return false;
  // A program that ends closes the connection without a word.
  char word = 0;
  return recv(connection.Descriptor(), &word, 1, 0) == 1;
}

SingleInstance::Told SingleInstance::TellTheOther(int limitMs) {
  const auto limit = Clock::now() + std::chrono::milliseconds(limitMs);
  // It may hold the lock and not listen yet, or no more.
  do {
    if (AskOnce(limit)) return Told::Shown;
    if (Claim()) return Told::Gone;
    std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs));
  } while (Clock::now() < limit);
  return Told::NoAnswer;
}

void SingleInstance::Listen(std::function<void()> asked) {
  if (!lock_.IsOpen() || !folderDescriptor_.IsOpen()) return;
  // Whoever listened there before us is gone: we have the lock.
  unlink(PathOf(kSocketName).c_str());
  OwnedDescriptor listening(OpenSocket());
  const sockaddr_un address = AddressIn(folderDescriptor_.Descriptor());
  if (!listening.IsOpen() || bind(listening.Descriptor(), Generic(address), sizeof address) != 0 ||
      listen(listening.Descriptor(), 8) != 0) {
    return;
  }
  socket_ = std::move(listening);
  notifier_ = std::make_unique<QSocketNotifier>(socket_.Descriptor(), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this, asked = std::move(asked)] {
    for (;;) {
      const OwnedDescriptor connection(accept4(socket_.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (!connection.IsOpen()) return;
      char token[kTokenSize] = {};
      const ssize_t got = recv(connection.Descriptor(), token, sizeof token - 1, 0);
      if (got > 0 && token[0] != '\0') setenv("XDG_ACTIVATION_TOKEN", token, 1);
      asked();
      send(connection.Descriptor(), &kDone, 1, MSG_NOSIGNAL);
    }
  });
}

}  // namespace kiv
