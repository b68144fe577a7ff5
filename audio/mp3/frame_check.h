#pragma once

// Is a file one of MP3 frames, or does it merely hold four bytes that could begin one? The decoder takes the first such
// bytes, which most large files of any kind have somewhere; who is about to overwrite something for a file asks here.
//
//   Threads  any.
//   Errors   a file that cannot be read holds no frames.

namespace kiv {

// Three frames of one version and rate follow one another directly, somewhere; or the file is shorter than that and
// nothing but frames from its first byte on.
bool HoldsMp3Frames(char const* path) noexcept;

}  // namespace kiv
