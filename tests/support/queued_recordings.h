#pragma once

// What the list file of the queue holds, oldest first: the recordings' paths.

#include <cstddef>
#include <string>
#include <vector>

#include "recorder/record_list_file.h"
#include "recorder/recording_queue.h"
#include "tests/support/temporary_folder.h"

namespace kiv::test {

inline std::vector<std::string> QueuedRecordings(const std::string& listPath) {
  std::vector<std::string> paths;
  const std::string bytes = ReadFile(listPath);
  for (std::size_t at = RecordListFile::kHeaderSize; at + sizeof(LALCListItem) <= bytes.size();
       at += sizeof(LALCListItem)) {
    paths.emplace_back(bytes.c_str() + at);
  }
  return paths;
}

}  // namespace kiv::test
