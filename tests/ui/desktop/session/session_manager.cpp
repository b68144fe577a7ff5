// A session manager for tests, after the X session management protocol. It does what the lines on its input say and
// tells on its output what its clients do.
//
//   in    check       notes which programs are running: asks each to save itself, with no end in sight
//         end         asks each to save itself for the end of the session; any may call it off
//         die         tells each to end
//   out   address A   once: what SESSION_MANAGER is to be
//         registered, saved, not saved, called off, gone
//
// It ends with its input.

#include <X11/ICE/ICElib.h>
#include <X11/ICE/ICEutil.h>
#include <X11/SM/SMlib.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// SmsConn belongs to the library; the IceConn is what is polled.
std::vector<SmsConn> clients;
std::vector<IceConn> connections;

void Say(const char* line) {
  std::printf("%s\n", line);
  std::fflush(stdout);
}

void Forget(IceConn connection) {
  connections.erase(std::remove(connections.begin(), connections.end(), connection), connections.end());
  const auto gone = std::remove_if(clients.begin(), clients.end(),
                                   [connection](SmsConn client) { return SmsGetIceConnection(client) == connection; });
  for (auto client = gone; client != clients.end(); ++client) SmsCleanUp(*client);
  clients.erase(gone, clients.end());
  IceSetShutdownNegotiation(connection, False);
  IceCloseConnection(connection);
  Say("gone");
}

Status RegisterClient(SmsConn client, SmPointer, char* previousId) {
  std::free(previousId);
  char* id = SmsGenerateClientID(client);
  SmsRegisterClientReply(client, id);
  std::free(id);
  clients.push_back(client);
  Say("registered");
  // What the protocol wants for every new client.
  SmsSaveYourself(client, SmSaveLocal, False, SmInteractStyleNone, False);
  return 1;
}

void InteractRequest(SmsConn client, SmPointer, int) {
  SmsInteract(client);
}

void InteractDone(SmsConn, SmPointer, Bool callOff) {
  if (callOff == False) return;
  Say("called off");
  for (SmsConn client : clients) SmsShutdownCancelled(client);
}

void SaveYourselfRequest(SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}

void SaveYourselfPhase2Request(SmsConn client, SmPointer) {
  SmsSaveYourselfPhase2(client);
}

void SaveYourselfDone(SmsConn, SmPointer, Bool success) {
  Say(success != False ? "saved" : "not saved");
}

void CloseConnection(SmsConn client, SmPointer, int reasons, char** reasonTexts) {
  SmFreeReasons(reasons, reasonTexts);
  Forget(SmsGetIceConnection(client));
}

void SetProperties(SmsConn, SmPointer, int count, SmProp** properties) {
  for (int i = 0; i < count; ++i) SmFreeProperty(properties[i]);
  std::free(properties);
}

void DeleteProperties(SmsConn, SmPointer, int count, char** names) {
  for (int i = 0; i < count; ++i) std::free(names[i]);
  std::free(names);
}

void GetProperties(SmsConn client, SmPointer) {
  SmsReturnProperties(client, 0, nullptr);
}

Status NewClient(SmsConn, SmPointer, unsigned long* wanted, SmsCallbacks* callbacks, char**) {
  *wanted = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask | SmsSaveYourselfDoneProcMask |
            SmsCloseConnectionProcMask | SmsSetPropertiesProcMask | SmsDeletePropertiesProcMask |
            SmsGetPropertiesProcMask;
  callbacks->register_client.callback = RegisterClient;
  callbacks->interact_request.callback = InteractRequest;
  callbacks->interact_done.callback = InteractDone;
  callbacks->save_yourself_request.callback = SaveYourselfRequest;
  callbacks->save_yourself_phase2_request.callback = SaveYourselfPhase2Request;
  callbacks->save_yourself_done.callback = SaveYourselfDone;
  callbacks->close_connection.callback = CloseConnection;
  callbacks->set_properties.callback = SetProperties;
  callbacks->delete_properties.callback = DeleteProperties;
  callbacks->get_properties.callback = GetProperties;
  return 1;
}

void Obey(const std::string& line) {
  for (SmsConn client : clients) {
    if (line == "check") SmsSaveYourself(client, SmSaveBoth, False, SmInteractStyleNone, False);
    if (line == "end") SmsSaveYourself(client, SmSaveBoth, True, SmInteractStyleAny, False);
    if (line == "die") SmsDie(client);
  }
}

// Whoever can see our private address may come in.
Bool LetIn(char*) {
  return True;
}

// The library's own ends the program.
void Disconnected(IceConn) {}

}  // namespace

int main() {
  char error[256] = "";
  int count = 0;
  IceListenObj* listeners = nullptr;
  if (SmsInitialize("kiv", "1", NewClient, nullptr, LetIn, sizeof(error), error) == 0 ||
      IceListenForConnections(&count, &listeners, sizeof(error), error) == 0) {
    std::fprintf(stderr, "kiv-session-manager: %s\n", error);
    return 1;
  }
  IceSetIOErrorHandler(Disconnected);
  for (int i = 0; i < count; ++i) IceSetHostBasedAuthProc(listeners[i], LetIn);
  char* address = IceComposeNetworkIdList(count, listeners);
  Say(("address " + std::string(address)).c_str());
  std::free(address);

  std::string input;
  for (;;) {
    std::vector<pollfd> waits = {{STDIN_FILENO, POLLIN, 0}};
    for (int i = 0; i < count; ++i) waits.push_back({IceGetListenConnectionNumber(listeners[i]), POLLIN, 0});
    const std::vector<IceConn> polled = connections;
    for (IceConn connection : polled) waits.push_back({IceConnectionNumber(connection), POLLIN, 0});
    poll(waits.data(), waits.size(), -1);

    for (std::size_t i = 0; i < polled.size(); ++i) {
      if (waits[1 + static_cast<std::size_t>(count) + i].revents == 0) continue;
      if (IceProcessMessages(polled[i], nullptr, nullptr) == IceProcessMessagesIOError) Forget(polled[i]);
    }
    for (int i = 0; i < count; ++i) {
      if (waits[1 + static_cast<std::size_t>(i)].revents == 0) continue;
      IceAcceptStatus status = IceAcceptSuccess;
      if (IceConn connection = IceAcceptConnection(listeners[i], &status)) connections.push_back(connection);
    }
    if (waits[0].revents != 0) {
      char bytes[256];
      const ssize_t got = read(STDIN_FILENO, bytes, sizeof(bytes));
      if (got <= 0) break;
      input.append(bytes, static_cast<std::size_t>(got));
      for (std::size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
        Obey(input.substr(0, end));
        input.erase(0, end + 1);
      }
    }
  }
  IceFreeListenObjs(count, listeners);
  return 0;
}
