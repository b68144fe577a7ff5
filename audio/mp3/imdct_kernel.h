#pragma once

// The transforms, for kLanes<V> subbands at once.

#include "audio/mp3/imdct.h"
#include "audio/mp3/lanes.h"

namespace kiv::mp3 {

// Cosine of whole multiples of 5 degrees (pi / 36).
inline constexpr float kCos5 = 0.99619469809174555F;
inline constexpr float kCos10 = 0.98480775301220806F;
inline constexpr float kCos20 = 0.93969262078590838F;
inline constexpr float kCos30 = 0.86602540378443865F;
inline constexpr float kCos40 = 0.76604444311897804F;
inline constexpr float kCos50 = 0.64278760968653933F;
inline constexpr float kCos70 = 0.34202014332566873F;
inline constexpr float kCos80 = 0.17364817766693035F;

// 2 cos((2k+1) pi/72) and 2 cos((2k+1) pi/36).
inline constexpr float kTwiceCos72[18] = {
    1.9980964431637156F,  1.9828897227476208F,  1.9525920142398667F,  1.9074339014964539F,  1.8477590650225735F,
    1.7740216663564434F,  1.6867828916257714F,  1.5867066805824705F,  1.4745546736202479F,  1.3511804152313206F,
    1.2175228580174414F,  1.0745992166936478F,  0.92349722647006772F, 0.76536686473017968F, 0.60141159900854613F,
    0.43287922787620577F, 0.26105238444010318F, 0.087238774730672007F};
inline constexpr float kTwiceCos36[9] = {1.9923893961834911F,  1.9318516525781366F,  1.8126155740732999F,
                                         1.6383040885779835F,  1.4142135623730951F,  1.1471528727020921F,
                                         0.84523652348139888F, 0.51763809020504148F, 0.17431148549531633F};

// y[m] = sum over k = 0 to 8 of x[k] cos((2k+1) m pi/18).
template <typename V>
inline void FDCT9(V const* x, V* y) noexcept {
  const V s0 = x[0] + x[8];
  const V s1 = x[1] + x[7];
  const V s2 = x[2] + x[6];
  const V s3 = x[3] + x[5];
  const V middle = x[4] - s1 * 0.5F;
  y[0] = s0 + s1 + s2 + s3 + x[4];
  y[2] = s0 * kCos20 - s2 * kCos80 - s3 * kCos40 - middle;
  y[4] = s0 * kCos40 - s2 * kCos20 + s3 * kCos80 + middle;
  y[6] = (s0 + s2 + s3) * 0.5F - s1 - x[4];
  y[8] = s0 * kCos80 + s2 * kCos40 - s3 * kCos20 + middle;

  const V d0 = x[0] - x[8];
  const V d1 = (x[1] - x[7]) * kCos30;
  const V d2 = x[2] - x[6];
  const V d3 = x[3] - x[5];
  y[1] = d0 * kCos10 + d1 + d2 * kCos50 + d3 * kCos70;
  y[3] = (d0 - d2 - d3) * kCos30;
  y[5] = d0 * kCos50 - d1 - d2 * kCos70 + d3 * kCos10;
  y[7] = d0 * kCos70 - d1 + d2 * kCos10 - d3 * kCos50;
}

// y[m] = sum over k = 0 to 17 of x[k] cos((2k+1) m pi/36).
template <typename V>
inline void FDCT18(V const* x, V* y) noexcept {
  V even[9];
  V odd[9];
  for (int k = 0; k < 9; ++k) {
    even[k] = x[k] + x[17 - k];
    odd[k] = (x[k] - x[17 - k]) * kTwiceCos36[k];
  }
  V evenOut[9];
  V oddOut[9];
  FDCT9(even, evenOut);
  FDCT9(odd, oddOut);
  y[0] = evenOut[0];
  y[1] = oddOut[0] * 0.5F;
  for (int m = 1; m < 9; ++m) {
    y[2 * m] = evenOut[m];
    y[2 * m + 1] = oddOut[m] - y[2 * m - 1];
  }
}

// t[n] = sum over k = 0 to 17 of x[k] cos((2k+1)(2n+1) pi/72). The 36 values of the transform are, in order,
// t[9] to t[17], -t[17] to -t[0], -t[0] to -t[8].
template <typename V>
inline void IMDCT(V const* x, V* t) noexcept {
  V scaled[18];
  for (int k = 0; k < 18; ++k) scaled[k] = x[k] * kTwiceCos72[k];
  FDCT18(scaled, t);
  t[0] *= 0.5F;
  for (int n = 1; n < 18; ++n) t[n] -= t[n - 1];
}

// The 18 lines of kLanes<V> subbands, one line of all of them in each vector.
template <typename V>
inline void LoadLines(float const* spectrum, V* x) noexcept {
  constexpr int n = kLanes<V>;
  for (int k = 0; k + n <= 18; k += n) LoadTransposed<V>(spectrum + k, 18, x + k);
  if constexpr (18 % n != 0) {
    V last[n];
    LoadTransposed<V>(spectrum + 18 - n, 18, last);
    for (int k = 18 - 18 % n; k < 18; ++k) x[k] = last[k - (18 - n)];
  }
}

template <typename V>
void ImdctLong(ImdctArguments const& a) noexcept {
  for (int sb = a.first; sb < a.end; sb += kLanes<V>) {
    V x[18];
    V t[18];
    LoadLines<V>(a.spectrum + 18 * sb, x);
    IMDCT(x, t);
    SignedWindow const& window = *a.window;
    const int lane = sb & (kWindowLanes - 1);
    const auto w = [&window, lane](int i) { return Load<V>(window[i] + lane); };
    for (int i = 0; i < 9; ++i) {
      float* const saved = a.overlap[i] + sb;
      Store<V>(a.out[i] + sb, Load<V>(saved) + w(i) * t[9 + i]);
      Store<V>(saved, w(18 + i) * -t[8 - i]);
    }
    for (int i = 9; i < 18; ++i) {
      float* const saved = a.overlap[i] + sb;
      Store<V>(a.out[i] + sb, Load<V>(saved) + w(i) * -t[26 - i]);
      Store<V>(saved, w(18 + i) * -t[i - 9]);
    }
  }
}

template <typename V>
void ImdctShort(ImdctArguments const& a) noexcept {
  ImdctTables const& tables = ImdctTables::Get();
  for (int sb = a.first; sb < a.end; sb += kLanes<V>) {
    V x[18];
    LoadLines<V>(a.spectrum + 18 * sb, x);
    SignedWindow const& window = *a.window;
    const int lane = sb & (kWindowLanes - 1);
    V sum[36];
    for (V& s : sum) s = V{};
    for (int w = 0; w < 3; ++w) {
      V t[6];
      for (int n = 0; n < 6; ++n) {
        t[n] = x[w] * tables.short6[0][n];
        for (int k = 1; k < 6; ++k) t[n] += x[3 * k + w] * tables.short6[k][n];
      }
      // In order t[3] to t[5], -t[5] to -t[0], -t[0] to -t[2].
      const auto add = [&](int i, V value) { sum[6 + 6 * w + i] += Load<V>(window[12 * w + i] + lane) * value; };
      for (int i = 0; i < 3; ++i) {
        add(i, t[3 + i]);
        add(3 + i, -t[5 - i]);
        add(6 + i, -t[2 - i]);
        add(9 + i, -t[i]);
      }
    }
    for (int i = 0; i < 18; ++i) {
      float* const saved = a.overlap[i] + sb;
      Store<V>(a.out[i] + sb, Load<V>(saved) + sum[i]);
      Store<V>(saved, sum[18 + i]);
    }
  }
}

}  // namespace kiv::mp3
