#include "tests/platform/pulse/sound_server_fixture.h"

namespace {

using namespace std::chrono_literals;

class ShortTone : public kiv::test::SoundServerFixture {};
INSTANTIATE_TEST_SUITE_P(Servers, ShortTone, testing::Values("pulseaudio", "pipewire"), kiv::test::ServerName);

TEST_P(ShortTone, ComesThroughTheLineWholeAndUnchanged) {
  OpenDevices();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 500; }, 5s));
  constexpr double kAmplitude = 200000;
  constexpr std::int32_t kFrames = 2 * kRate;
  Play(kiv::test::Sine(1000, kAmplitude, kRate, kFrames, 1));
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 10s));
  RunFor(300ms);
  recorder->Stop();

  const auto stretches = Stretches(Recorded());
  ASSERT_EQ(stretches.size(), 1U) << "a hole in the tone";
  EXPECT_NEAR(static_cast<double>(stretches[0].end - stretches[0].begin), kFrames, 16);
  double amplitude = 0;
  kiv::test::SoundServerFixture::Stretch inside = stretches[0];
  inside.begin += 40;  // A server may ramp or filter the edges.
  inside.end -= 40;
  // The recorder's offset filter moves a 1 kHz tone by less than 1 %.
  EXPECT_LT(DepartureFromSine(Recorded(), inside, 1000, amplitude), kAmplitude * 0.02);
  EXPECT_NEAR(20 * std::log10(amplitude / kAmplitude), 0, 0.1);
}

}  // namespace
