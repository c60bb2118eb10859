#include "faults/scripted_recording.h"

#include "platform/avfoundation/mp4/movie_fixture.h"

#include <algorithm>

namespace vx::test {

namespace {

using vx::mp4::RecordingFile;
using vx::mp4::test::audioTrack;
using vx::mp4::test::kSilentAac;
using vx::mp4::test::picture;
using vx::mp4::test::smallSource;
using vx::mp4::test::sound;
using vx::mp4::test::videoTrack;

constexpr std::int64_t kPictureMs = 40;

class Recorder {
 public:
  Recorder(const RecordingPlan& plan, const CommitListener& committed)
      : _plan(plan), _committed(committed) {}

  RecordingOutcome run(const std::string& path) {
    _outcome.created = RecordingFile::create(path, _file);
    if (!_outcome.created) return _outcome;
    _outcome.begun = _file->begin(videoTrack(smallSource(), 64, 48), _plan.soundsPerFragment > 0);
    if (_outcome.begun) tellCommitted();
    for (std::size_t i = 0; i < _plan.fragments; ++i) recordFragment(i);
    if (_plan.finishes) finish();
    return _outcome;
  }

 private:
  void recordFragment(std::size_t number) {
    for (std::size_t i = 0; i < _plan.picturesPerFragment; ++i) {
      const std::size_t n = number * _plan.picturesPerFragment + i;
      const auto time = static_cast<std::int64_t>(n) * kPictureMs;
      if (keep(_file->appendVideo(picture(smallSource(), n, time, kPictureMs))))
        ++_outcome.accepted.pictures;
    }
    if (number == 1 && _plan.soundsPerFragment > 0) keep(_file->declareAudio(audioTrack()));
    for (std::size_t i = 0; number > 0 && i < _plan.soundsPerFragment; ++i)
      if (keep(_file->appendAudio(sound(0)))) ++_outcome.accepted.sounds;
    if (!keep(_file->commit())) return;
    _outcome.committed = _outcome.accepted;
    tellCommitted();
  }

  void finish() {
    const auto pictures = static_cast<std::int64_t>(_outcome.accepted.pictures);
    _outcome.finished = _file->finish(pictures * kPictureMs);
    compareWithFirst(_outcome.finished);
    _file.reset();
  }

  bool keep(Status status) {
    if (status) {
      // After an error nothing is taken any more.
      _outcome.allFailuresAreTheSame &= _outcome.firstFailure.ok();
      return true;
    }
    compareWithFirst(status);
    if (_outcome.firstFailure) _outcome.firstFailure = std::move(status);
    return false;
  }

  void compareWithFirst(const Status& status) {
    if (status || _outcome.firstFailure || !_outcome.begun) return;
    const NSError& first = _outcome.firstFailure.error();
    _outcome.allFailuresAreTheSame &=
        first.code() == status.error().code() && first.domain() == status.error().domain();
  }

  void tellCommitted() {
    if (_committed) _committed(_outcome.committed);
  }

  const RecordingPlan _plan;
  const CommitListener _committed;
  std::unique_ptr<RecordingFile> _file;
  RecordingOutcome _outcome;
};

class Comparison {
 public:
  explicit Comparison(ByteView file) : _file(file) {}

  void require(bool isRight, const std::string& text) {
    if (!isRight) _texts.push_back(text);
  }

  void compare(const CheckedTrack* track, std::size_t promised, std::size_t accepted,
               const char* name) {
    const std::size_t found = track == nullptr ? 0 : track->samples.size();
    require(found >= promised, std::string("of ") + std::to_string(promised) + " promised " + name +
                                   " there are " + std::to_string(found));
    require(found <= accepted, std::string("there are more ") + name + " than were accepted");
    for (std::size_t i = 0; i < found; ++i) compareSample(track->samples[i], i, name);
  }

  std::vector<std::string> texts() { return std::move(_texts); }

 private:
  void compareSample(const CheckedSample& sample, std::size_t number, const char* name) {
    const bool isPicture = std::string_view(name) == "pictures";
    const auto& pictures = smallSource().pictures;
    const Bytes& expected = isPicture ? pictures[number % pictures.size()].bytes : kSilentAac;
    const std::int64_t unit = isPicture ? kPictureMs : 1024;
    const ByteView bytes = sampleBytes(_file, sample);
    const std::string which = "number " + std::to_string(number) + " of the " + name;
    require(std::equal(bytes.begin(), bytes.end(), expected.begin(), expected.end()),
            which + " has other bytes than were given");
    require(sample.time == static_cast<std::int64_t>(number) * unit,
            which + " has another time than was given");
  }

  ByteView _file;
  std::vector<std::string> _texts;
};

}  // namespace

RecordingOutcome makeRecording(const std::string& path, const RecordingPlan& plan,
                               const CommitListener& committed) {
  return Recorder(plan, committed).run(path);
}

std::vector<std::string> whatIsWrong(ByteView file, const SampleCounts& promised,
                                     const SampleCounts& accepted) {
  const CheckedMovie movie = checkMovie(file, FileEnd::mayBeTorn);
  Comparison comparison(file);
  for (const std::string& finding : movie.findings) comparison.require(false, finding);
  comparison.require(movie.video() != nullptr, "there is no video track");
  comparison.compare(movie.video(), promised.pictures, accepted.pictures, "pictures");
  comparison.compare(movie.audio(), promised.sounds, accepted.sounds, "sounds");
  return comparison.texts();
}

FoundMovie findMovie(ByteView file) {
  const CheckedMovie movie = checkMovie(file, FileEnd::mayBeTorn);
  const auto count = [](const CheckedTrack* track) {
    return track == nullptr ? std::size_t{0} : track->samples.size();
  };
  return {movie.form, {count(movie.video()), count(movie.audio())}};
}

}  // namespace vx::test
