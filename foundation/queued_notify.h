#pragma once

// Lets a worker make the main thread call EvNotify of an object.
//
//   Threads  made and destroyed on main; PostQueueNotify from any thread while the object lives; EvNotify on
//            main, one call per post, in posting order.
//   Target   a post names the object by an identity that is never given again: what is still queued when the
//            object goes reaches nobody, also when another object has taken its address.

#include <cstdint>

#include "foundation/event_queue.h"
#include "foundation/four_cc.h"

namespace kiv {

inline constexpr std::uint32_t kNotifyClass = FourCC("LNot");
inline constexpr std::uint32_t kNotifyKind = FourCC("LNdk");
// Parameter: identity of the object that posted, 8 bytes.
inline constexpr std::uint32_t kNotifyObject = FourCC("LNth");
inline constexpr std::uint32_t kNotifyObjectType = FourCC("void");

}  // namespace kiv

class LThreadQueuedNotify {
 public:
  LThreadQueuedNotify();
  LThreadQueuedNotify(const LThreadQueuedNotify&) = delete;
  LThreadQueuedNotify& operator=(const LThreadQueuedNotify&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LThreadQueuedNotify();

 protected:
  virtual void EvNotify() = 0;

 public:
  void PostQueueNotify();

 private:
  // Accepts the events of the object that userData names; passes others on.
  static bool EventHandler(const kiv::Event& event, LThreadQueuedNotify* userData);

  kiv::EventQueue& queue_;
  const std::uint64_t identity_;
  kiv::EventQueue::HandlerId handler_;
};
