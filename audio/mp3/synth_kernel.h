#pragma once

// Matrixing and windowing for kLanes<V> values at once. Every sum runs in the same order for every width.

#include "audio/mp3/lanes.h"
#include "audio/mp3/lookup_tables.h"
#include "audio/mp3/synth.h"

namespace kiv::mp3 {

// out[s][n] = sum over k of x[s][k] * matrix[k][n], for `slots` slots at a time, which share the loads of the matrix.
template <typename V, int slots, int size>
inline void Multiply(float const (*x)[size], float const (*matrix)[size], V (*out)[size / kLanes<V>]) noexcept {
  constexpr int n = kLanes<V>;
  if constexpr (n == 1) {
    // Single values are left to the compiler, which makes vectors of its own of loops as plain as this.
    for (int s = 0; s < slots; ++s) {
      for (int j = 0; j < size; ++j) {
        float sum = matrix[0][j] * x[s][0];
        for (int k = 1; k < size; ++k) sum += matrix[k][j] * x[s][k];
        out[s][j] = sum;
      }
    }
    return;
  }
  // At most four vectors of sums a slot, so that they stay in registers.
  constexpr int block = size / n < 4 ? size / n : 4;
  for (int first = 0; first < size / n; first += block) {
    V sum[slots][block];
    for (int s = 0; s < slots; ++s) {
      for (int j = 0; j < block; ++j) sum[s][j] = Load<V>(matrix[0] + n * (first + j)) * x[s][0];
    }
    for (int k = 1; k < size; ++k) {
      for (int j = 0; j < block; ++j) {
        const V row = Load<V>(matrix[k] + n * (first + j));
        for (int s = 0; s < slots; ++s) sum[s][j] += row * x[s][k];
      }
    }
    for (int s = 0; s < slots; ++s) {
      for (int j = 0; j < block; ++j) out[s][first + j] = sum[s][j];
    }
  }
}

// The 64 values V of the standard from each slot of subbands. With Y[m] = sum of S[k] cos((2k+1) m pi/64) they are
// Y[16] to Y[31], 0, -Y[31] to -Y[0] and -Y[1] to -Y[15].
template <typename V, int slots>
inline void Matrix(MP3LookupTables const& tables, float const (*subbands)[kMp3Subbands],
                   float* const (&values)[slots]) noexcept {
  constexpr int n = kLanes<V>;
  constexpr int eighth = 8 / n;  // vectors in 8 values
  alignas(32) float sum2[slots][8];
  alignas(32) float difference2[slots][8];
  alignas(32) float difference[slots][16];
  for (int s = 0; s < slots; ++s) {
    float const* const in = subbands[s];
    V sum[2 * eighth];
    for (int i = 0; i < 2 * eighth; ++i) {
      const V a = Load<V>(in + n * i);
      const V b = Reverse(Load<V>(in + 32 - n * (i + 1)));
      sum[i] = a + b;
      Store<V>(difference[s] + n * i, a - b);
    }
    for (int i = 0; i < eighth; ++i) {
      const V b = Reverse(sum[2 * eighth - 1 - i]);
      Store<V>(sum2[s] + n * i, sum[i] + b);
      Store<V>(difference2[s] + n * i, sum[i] - b);
    }
  }
  // From here on each value is needed in all lanes, which costs nothing when it is loaded from memory; without this the
  // compiler keeps the vectors and takes them to pieces.
  asm volatile("" ::: "memory");
  V quarter[slots][eighth];
  V half[slots][eighth];
  V odd[slots][2 * eighth];
  Multiply<V, slots, 8>(sum2, tables.matrixQuarter, quarter);
  Multiply<V, slots, 8>(difference2, tables.matrixHalf, half);
  Multiply<V, slots, 16>(difference, tables.matrixOdd, odd);

  for (int s = 0; s < slots; ++s) {
    V even[2 * eighth];
    for (int i = 0; i < eighth; ++i) Interleave(quarter[s][i], half[s][i], even[2 * i], even[2 * i + 1]);
    V y[4 * eighth];
    for (int i = 0; i < 2 * eighth; ++i) Interleave(even[i], odd[s][i], y[2 * i], y[2 * i + 1]);
    float* const to = values[s];
    for (int i = 0; i < 2 * eighth; ++i) {
      Store<V>(to + n * i, y[2 * eighth + i]);
      Store<V>(to + 48 + n * i, -y[i]);
    }
    to[16] = 0.0F;
    for (int i = 0; i < 4 * eighth; ++i) Store<V>(to + 17 + n * i, -Reverse(y[4 * eighth - 1 - i]));
  }
}

// The samples of `slots` slots; values[s] are those of slot s, the 15 before it follow.
template <typename V, int slots>
inline void Window(MP3LookupTables const& tables, float* const (&values)[slots], std::int32_t* out) noexcept {
  constexpr int kSlotValues = 64;
  for (int j = 0; j < kMp3Subbands; j += kLanes<V>) {
    V sum[slots];
    for (V& s : sum) s = V{};
    for (int i = 0; i < 16; i += 2) {
      const V even = Load<V>(tables.window + 32 * i + j);
      const V odd = Load<V>(tables.window + 32 * i + 32 + j);
      for (int s = 0; s < slots; ++s) sum[s] += even * Load<V>(values[s] + kSlotValues * i + j);
      for (int s = 0; s < slots; ++s) sum[s] += odd * Load<V>(values[s] + kSlotValues * i + kSlotValues + 32 + j);
    }
    for (int s = 0; s < slots; ++s) StoreTruncated(out + kMp3Subbands * s + j, sum[s]);
  }
}

template <typename V, int slots>
inline void SynthesizeTogether(MP3LookupTables const& tables, SynthArguments const& a, int slot) noexcept {
  float* values[slots];
  for (int s = 0; s < slots; ++s) values[s] = a.values[a.newest - 1 - slot - s];
  Matrix<V, slots>(tables, a.subbands + slot, values);
  Window<V, slots>(tables, values, a.out + kMp3Subbands * slot);
}

template <typename V>
void SynthesizeSlots(SynthArguments const& a) noexcept {
  MP3LookupTables const& tables = MP3LookupTables::InitTables();
  constexpr int kTogether = kLanes<V> == 1 ? 1 : 3;
  int slot = 0;
  for (; slot + kTogether <= a.count; slot += kTogether) SynthesizeTogether<V, kTogether>(tables, a, slot);
  for (; slot < a.count; ++slot) SynthesizeTogether<V, 1>(tables, a, slot);
}

}  // namespace kiv::mp3
