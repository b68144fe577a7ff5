#include "audio/sound_source.h"

#include "audio/sound_process.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::MemorySource;

TEST(LSoundSource, DefaultHandleReadsSilenceAndCarriesErrorOne) {
  LSoundSource source;
  EXPECT_EQ(source->Rate(), 11025);
  EXPECT_EQ(source->Channels(), 1);
  EXPECT_EQ(source->Peak(), 2097152);
  EXPECT_EQ(source->Error(), kSourceNone);
  EXPECT_EQ(source->GetEndSample(), 0);
  EXPECT_EQ(source->GetPositionSample(), 0);
  EXPECT_EQ(source->ReferenceCount(), 1);
  source->Seek(100);
  std::int32_t samples[3] = {1, 2, 3};
  source->Read(samples, 3);
  EXPECT_THAT(samples, testing::ElementsAre(0, 0, 0));
  EXPECT_EQ(source->GetPositionSample(), 0);
}

TEST(LSoundSource, SelfAssignmentKeepsObjectAndCount) {
  auto* object = new MemorySource({1, 2}, 8000, 1);
  LSoundSource source(object);
  LSoundSource& alias = source;
  source = alias;
  EXPECT_EQ(object->ReferenceCount(), 1);
  EXPECT_EQ(&*source, object);
}

class Mourned : public MemorySource {
 public:
  explicit Mourned(int& deaths) : MemorySource({}, 8000, 1), deaths_(deaths) {}
  ~Mourned() override { ++deaths_; }

 private:
  int& deaths_;
};

TEST(LSoundSource, LastReleaseDeletes) {
  int deaths = 0;
  {
    LSoundSource a(new Mourned(deaths));
    LSoundSource b(a);
    LSoundSource c;
    c = b;
    EXPECT_EQ(a->ReferenceCount(), 3);
    a.Close();
    EXPECT_EQ(a->Error(), kSourceNone);
    b = a;
    EXPECT_EQ(deaths, 0);
    EXPECT_EQ(c->ReferenceCount(), 1);
    c.Close();
    EXPECT_EQ(deaths, 1);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(LSoundSourceBase, InvalidRateAndChannelsAreReplaced) {
  MemorySource source({}, 0, 0, 5);
  EXPECT_EQ(source.Rate(), 44100);
  EXPECT_EQ(source.Channels(), 1);
  EXPECT_EQ(source.Peak(), 5);
  EXPECT_EQ(source.Error(), kSourceInvalid);
  EXPECT_EQ(MemorySource({}, -1, 2).Error(), kSourceInvalid);
  EXPECT_EQ(MemorySource({}, 1, 0).Rate(), 1);
}

class PassThrough : public LSoundProcessBase {
 public:
  using LSoundProcessBase::LSoundProcessBase;
  void Read(std::int32_t* buffer, std::int32_t frames) override { input_->Read(buffer, frames); }
};

TEST(LSoundProcessBase, ForwardsToItsInput) {
  LSoundSource input = kiv::test::OpenMemory({1, 2, 3, 4, 5, 6}, 16000, 2, 99);
  LSoundSource process(new PassThrough(input));
  EXPECT_EQ(input->ReferenceCount(), 2);
  EXPECT_EQ(process->Rate(), 16000);
  EXPECT_EQ(process->Channels(), 2);
  EXPECT_EQ(process->Peak(), 99);
  EXPECT_EQ(process->Error(), kSourceGood);
  EXPECT_EQ(process->GetEndSample(), 3);
  process->Seek(2);
  EXPECT_EQ(process->GetPositionSample(), 2);
  EXPECT_EQ(input->GetPositionSample(), 2);
  process.Close();
  EXPECT_EQ(input->ReferenceCount(), 1);
}

TEST(LSoundProcessBase, InputInErrorGivesErrorTwoAndStillPassesThrough) {
  LSoundSource input;
  LSoundSource process(new PassThrough(input));
  EXPECT_EQ(process->Error(), kSourceInput);
  std::int32_t sample = 7;
  process->Read(&sample, 1);
  EXPECT_EQ(sample, 0);
}

}  // namespace
