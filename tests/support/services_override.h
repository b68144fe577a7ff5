#pragma once

// Puts a port into the services record for the length of one test.

#include "platform/services.h"

namespace kiv::test {

class ServicesOverride {
 public:
  ServicesOverride() : saved_(services) {}
  ~ServicesOverride() { services = saved_; }
  ServicesOverride(const ServicesOverride&) = delete;
  ServicesOverride& operator=(const ServicesOverride&) = delete;

 private:
  Services saved_;
};

}  // namespace kiv::test
