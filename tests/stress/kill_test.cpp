// A recording process is killed: at any moment of a live recording, and at any after its stop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "stress/form.h"
#include "stress/recording_child.h"
#include "support/movie_checker.h"

namespace vx::test {
namespace {

using Kind = Message::Kind;

constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;

// So many record at a time that the moments of their deaths do not wait for each other.
constexpr int kAtATime = 8;
constexpr std::int64_t kWithoutEnd = 1000000;

struct LiveLosses {
  int opened = 0;
  std::int64_t mostMs = 0;
};

void recordWithoutEnd(const std::string& folder, const Teller& teller) {
  RecordingHost(folder, teller).record(kWithoutEnd);
}

void recordAndStop(const std::string& folder, const Teller& teller) {
  RecordingHost host(folder, teller);
  host.record(40);
  host.stop();
  pause();
}

void judge(const RecordingChild& victim, std::int64_t moment, LiveLosses& losses) {
  const std::int64_t due = victim.acceptedBefore(moment - 1000 * kNanosecondsPerMillisecond);
  const std::int64_t kept = expectFirstFrames(victim.path(), std::max(due, victim.committed()));
  const std::int64_t accepted = victim.acceptedBefore(moment);
  if (kept < accepted) {
    losses.mostMs =
        std::max<std::int64_t>(losses.mostMs, timeOfFrame(accepted - 1) -
                                                  timeOfFrame(std::max<std::int64_t>(kept, 1) - 1));
  }
  ++losses.opened;
}

TEST(Killed, AtAnyMomentOfALiveRecordingKeepsAllButTheLastSecond) {
  Chance chance;
  const int kills = rounds(6, 200);
  LiveLosses losses;
  for (int done = 0; done < kills && !HasFailure(); done += kAtATime) {
    std::vector<std::pair<std::int64_t, std::unique_ptr<RecordingChild>>> victims;
    for (int i = done; i < std::min(done + kAtATime, kills); ++i) {
      auto victim = std::make_unique<RecordingChild>(recordWithoutEnd);
      // From the first committed picture on: before it there is nothing to keep.
      ASSERT_TRUE(victim->child.waitFor(Kind::committed));
      const std::int64_t afterMs =
          i % 4 == 0 ? chance.between(0, 2000) : chance.between(2000, 5000);
      victims.emplace_back(nowNanoseconds() + afterMs * kNanosecondsPerMillisecond,
                           std::move(victim));
    }
    std::sort(victims.begin(), victims.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [moment, victim] : victims) {
      std::this_thread::sleep_for(std::chrono::nanoseconds(moment - nowNanoseconds()));
      moment = victim->child.kill();
    }
    for (const auto& [moment, victim] : victims) {
      judge(*victim, moment, losses);
    }
  }
  EXPECT_EQ(losses.opened, kills);
  report("SIGKILL at any moment of a live recording | " + std::to_string(kills) +
         " kills | all open in every reader, at most the last " + std::to_string(losses.mostMs) +
         " ms; every time is exact");
}

TEST(Killed, AfterTheStopLeavesOneOfTheTwoForms) {
  Chance chance;
  const int kills = rounds(2, 50);
  int within = 0;
  int fragmented = 0;
  std::int64_t longest = 20 * kNanosecondsPerMillisecond;
  for (int tries = 0; within < kills && tries < 20 * kills && !HasFailure(); ++tries) {
    RecordingChild victim(recordAndStop);
    ASSERT_TRUE(victim.child.waitFor(Kind::stopping));
    const std::int64_t stopping = victim.child.messages().back().nanoseconds;
    const std::int64_t moment = stopping + chance.between(0, longest);
    while (nowNanoseconds() < moment) {
    }
    victim.child.kill();
    if (const Message& last = victim.child.messages().back(); last.kind == Kind::done) {
      longest = last.nanoseconds - stopping;  // too late, but now it is known how long it lasts
      continue;
    }
    ++within;
    expectFirstFrames(victim.path(), victim.committed());
    fragmented += checkMovieFile(victim.path(), FileEnd::mayBeTorn).form == MovieForm::fragmented;
  }
  EXPECT_EQ(within, kills);
  report("SIGKILL at any moment between stop and its notice | " + std::to_string(within) +
         " kills | no committed frame; " + std::to_string(fragmented) + " left fragmented, " +
         std::to_string(within - fragmented) + " final");
}

}  // namespace
}  // namespace vx::test
