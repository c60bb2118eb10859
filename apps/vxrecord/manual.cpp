#include "manual.h"

#include "option_table.h"

namespace vxrecord {
namespace {

ManualSection inputs() {
  return {
      "INPUT",
      {},
      {{"NAME", "a file or address that FFmpeg opens; \"-\" is standard input"},
       {"x11:DISPLAY",
        "a live X display such as x11::0: a frame whenever it changes, at most 60 a "
        "second"},
       {"x11:DISPLAY+X,Y,WxH", "a part of it"},
       {"x11:...@FPS", "at most so many frames a second"},
       {"test:WxH@FPS", "a built-in moving picture with a frame number in it"}},
      "A file is recorded as fast as the recorder takes it, without loss, its frame times kept "
      "to the millisecond. A live input runs by the clock; frames that come too fast are "
      "dropped and counted. Pictures are recorded upright and with square pixels: what an input "
      "says about its rotation and the shape of its pixels is carried out. The last frame of a "
      "recording is shown for one millisecond, as no later frame ends it."};
}

std::string termOf(const OptionEntry& option) {
  std::string term(option.letter);
  term += term.empty() ? "" : ", ";
  term += option.name;
  if (!option.value.empty()) {
    term += ' ';
    term += option.value;
  }
  return term;
}

ManualSection options() {
  ManualSection section{
      "OPTIONS", "Values may also be attached, as in --name=value; -- ends the options.", {}, {}};
  for (const OptionEntry& option : optionTable()) {
    section.entries.push_back({termOf(option), option.text});
  }
  return section;
}

ManualSection verify() {
  return {"VERIFY",
          "vxrecord verify FILE says whether a recording is whole and what is in it, and changes "
          "nothing. An input of that name is written ./verify.",
          {{"--json", "print one JSON object on standard output"},
           {"--svg OUT.svg",
            "draw the timeline: frames as bars of their durations, key frames, black stretches, "
            "which stand for pauses, and sound"}},
          "It checks the checksums of all samples. What was broken off is completed by vxrepair."};
}

ManualSection keys() {
  return {"KEYS",
          "While a recording runs and standard input is a terminal:",
          {{"space",
            "begins or ends a pause; at most one second of black stands for it. A file "
            "that is not played by the clock waits meanwhile, and nothing is left out"},
           {"q", "ends the recording"}},
          {}};
}

ManualSection signals() {
  return {"SIGNALS",
          {},
          {{"INT, TERM, HUP",
            "end the recording cleanly; one that comes more than a second after "
            "the first ends the program at once, and the file then holds what "
            "was recorded until about half a second before"},
           {"USR2", "begins or ends a pause, like the space key"}},
          {}};
}

ManualSection exitStatus() {
  return {"EXIT STATUS",
          {},
          {{"0", "done"},
           {"1",
            "the recording failed, or the answer could not be printed; with verify: it is not "
            "whole"},
           {"2", "wrong use, or an input that cannot be opened"}},
          {}};
}

}  // namespace

std::string_view manualSummary() {
  return "Records INPUT into one MP4 file that can be opened at any moment, even after a crash.";
}

const std::vector<std::string>& manualUsages() {
  static const std::vector<std::string> usages = {"vxrecord [options] INPUT",
                                                  "vxrecord verify [--json] [--svg OUT.svg] FILE"};
  return usages;
}

const std::vector<ManualSection>& manualSections() {
  static const std::vector<ManualSection> sections = {inputs(), options(), verify(),
                                                      keys(),   signals(), exitStatus()};
  return sections;
}

std::vector<Page> pages() {
  return {{"man/vxrecord.1", manPage()},
          {"completions/vxrecord.bash", bashCompletion()},
          {"completions/_vxrecord", zshCompletion()},
          {"completions/vxrecord.fish", fishCompletion()}};
}

}  // namespace vxrecord
