#pragma once

// Short encoded files of all rates, modes, bit rates and block types, made with the encoder "lame" from our own
// signals and kept in the build tree.

#include <string>
#include <vector>

namespace kiv::test {

struct CorpusFile {
  std::string name;
  int rate;
  int channels;
  int signal;           // kind of signal, see corpus.cpp
  std::string options;  // of the encoder
};

// All of them, at least a hundred; or, in the slow trees of the sanitizers, every tenth.
std::vector<CorpusFile> Corpus();

// The encoded bytes; made at the first call and taken from the build tree afterwards.
std::string Encoded(CorpusFile const& file);

}  // namespace kiv::test
