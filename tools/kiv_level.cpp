// kiv-level IN.wav OUT.wav: the level control that every recording gets after a call, on one file.

#include "audio/processing/process_agc.h"
#include "audio/wave_file.h"
#include "audio/wave_sink.h"
#include "tools/file_tool.h"
#include "tools/wave_reason.h"

namespace {

constexpr char kUsage[] =
    "Usage: kiv-level IN.wav OUT.wav\n"
    "\n"
    "Evens out the level of a recording, so that loud and faint speakers are both heard.\n"
    "IN.wav is a PCM WAV file of 8 or 16 bits. OUT.wav is written with 16 bits and the\n"
    "same rate and channels, rounded up to 20 ms; it appears when it is whole. It cannot\n"
    "be IN.wav.\n"
    "\n"
    "  -h, --help   show this text\n"
    "\n"
    "Exit status: 0 levelled, 1 stopped by a signal, 2 failed or wrong arguments.\n";

kiv::Made Level(const kiv::FileTool::Paths& paths, kiv::ConsoleProgress& progress, std::string_view& why) {
  LSoundSource source = LWaveFile::OpenSource(paths.in.c_str());
  if (source->Error() != kSourceGood) {
    why = kiv::WaveReason(source->Error());
    return kiv::Made::InputFailed;
  }
  LSoundSink sink = LWaveFile::OpenSinkPCM(paths.result.c_str(), source->Rate(), source->Channels(), 16, 0);
  LDPAutoGain::SetTemporaryFolder(paths.folder);
  bool failed = false;
  if (kiv::ProcessRecordingAGC(progress, source, sink, &failed) != 0) return kiv::Made::Stopped;
  kiv::SyncSinkToDisk(sink);
  failed = failed || sink->Error() != kSinkGood;
  const std::int32_t frames = sink->Position();
  sink.Close();
  // The last bytes are written as the sink goes.
  failed = failed || LWaveFile::OpenSource(paths.result.c_str())->GetEndSample() != frames;
  return failed ? kiv::Made::OutputFailed : kiv::Made::Whole;
}

}  // namespace

int main(int argc, char** argv) {
  return kiv::RunFileTool({.name = "kiv-level", .usage = kUsage, .make = Level}, argc, argv);
}
