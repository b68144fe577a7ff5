#pragma once

// For tests that run once with each vector width. One that the processor does not have runs as the widest that it has.
//
//   class Stage : public kiv::test::EveryVectorWidth {};
//   INSTANTIATE_TEST_SUITE_P(EveryWidth, Stage, kiv::test::kVectorWidths, kiv::test::VectorWidthName);
//   TEST_P(Stage, GivesTheSameBits) ...

#include <gtest/gtest.h>

#include <string>

#include "foundation/vector_width.h"

namespace kiv::test {

class EveryVectorWidth : public testing::TestWithParam<VectorWidth> {
 protected:
  void SetUp() override { ForceVectorWidth(GetParam()); }
  void TearDown() override { ForceNoVectorWidth(); }
};

inline const auto kVectorWidths = testing::Values(VectorWidth::Scalar, VectorWidth::Sse2, VectorWidth::Avx2);

inline std::string VectorWidthName(const testing::TestParamInfo<VectorWidth>& info) {
  return info.param == VectorWidth::Scalar ? "Scalar" : info.param == VectorWidth::Sse2 ? "Sse2" : "Avx2";
}

}  // namespace kiv::test
