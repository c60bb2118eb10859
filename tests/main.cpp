// What every test program starts with.
#include <gmock/gmock.h>

#include <cstdlib>

namespace {

/// A program that runs as one part of its tests hands that on to none that it starts.
class PartsForgotten : public testing::EmptyTestEventListener {
  void OnTestProgramStart(const testing::UnitTest&) override {
    ::unsetenv("GTEST_TOTAL_SHARDS");
    ::unsetenv("GTEST_SHARD_INDEX");
  }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // What runs is chosen by then.
  testing::UnitTest::GetInstance()->listeners().Append(new PartsForgotten);
  return RUN_ALL_TESTS();
}
