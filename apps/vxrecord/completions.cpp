#include "manual.h"
#include "option_table.h"

namespace vxrecord {
namespace {

/// In single quotes, for any of the shells.
std::string shellQuoted(std::string_view text) {
  std::string result = "'";
  for (const char character : text) {
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return result + "'";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

/// The explanation up to its first stop: what fits beside an option in a list.
std::string shortText(const OptionEntry& option) {
  const std::string text = option.text.substr(0, option.text.find_first_of(":;("));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string allNames() {
  std::vector<std::string> names;
  for (const OptionEntry& option : optionTable()) {
    names.emplace_back(option.name);
    if (!option.letter.empty()) {
      names.emplace_back(option.letter);
    }
  }
  return joined(names);
}

std::string bashCase(const OptionEntry& option) {
  std::string reply = "return";
  if (option.completion == Completion::folders) {
    reply = "mapfile -t COMPREPLY < <(compgen -d -- \"$word\"); return";
  } else if (option.completion == Completion::words) {
    reply = "mapfile -t COMPREPLY < <(compgen -W " + shellQuoted(joined(option.words)) +
            " -- \"$word\"); return";
  } else if (option.completion == Completion::encoders) {
    reply =
        "mapfile -t COMPREPLY < <(compgen -W \"$(\"${COMP_WORDS[0]}\" --list-encoders 2>/dev/null "
        "| cut -d ' ' -f 1)\" -- \"$word\"); return";
  }
  return "    " + std::string(option.name) + ") " + reply + " ;;\n";
}

std::string zshText(std::string_view text) {
  std::string result;
  for (const char character : text) {
    result += character == '[' || character == ']' || character == ':' ? "\\" : "";
    result += character;
  }
  return result;
}

std::string zshLine(const OptionEntry& option) {
  const std::string text = "[" + zshText(shortText(option)) + "]";
  std::string action;
  if (option.completion == Completion::folders) {
    action = "_directories";
  } else if (option.completion == Completion::words) {
    action = "(" + joined(option.words) + ")";
  } else if (option.completion == Completion::encoders) {
    action = "_vxrecord_encoders";
  }
  const std::string value = option.value.empty() ? "" : ":" + zshText(option.value) + ":" + action;
  const std::string name(option.name);
  std::string line = "  " + shellQuoted(name + (value.empty() ? "" : "=") + text + value);
  if (!option.letter.empty()) {
    line += " \\\n  " + shellQuoted("*" + std::string(option.letter) + text);
  }
  return line + " \\\n";
}

std::string fishLine(const OptionEntry& option) {
  std::string line = "complete -c vxrecord -l " + std::string(option.name.substr(2));
  line += option.letter.empty() ? "" : " -s " + std::string(option.letter.substr(1));
  if (!option.value.empty()) {
    line += " -x";
  }
  if (option.completion == Completion::folders) {
    line += " -a '(__fish_complete_directories)'";
  } else if (option.completion == Completion::words) {
    line += " -a " + shellQuoted(joined(option.words));
  } else if (option.completion == Completion::encoders) {
    line += " -a '(vxrecord --list-encoders 2>/dev/null | string replace -r \" .*\" \"\")'";
  }
  return line + " -d " + shellQuoted(shortText(option)) + "\n";
}

}  // namespace

// A colon splits words for bash, so what begins with "x11:" is put together again.
std::string bashCompletion() {
  std::string cases;
  for (const OptionEntry& option : optionTable()) {
    cases += option.value.empty() ? "" : bashCase(option);
  }
  return R"sh(# Completion of vxrecord for bash.
_vxrecord() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} line
  COMPREPLY=()
  # "=" is a word of its own here: in "--name=val" the option stands one further back.
  if [[ $word == = ]]; then
    word=''
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD-2]}
  fi
  if [[ ${COMP_WORDS[1]} == verify && $COMP_CWORD -gt 1 ]]; then
    if [[ $word == -* ]]; then
      mapfile -t COMPREPLY < <(compgen -W '--json --svg' -- "$word")
    else
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
    return
  fi
  case $before in
)sh" + cases +
         R"sh(  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W ')sh" +
         allNames() + R"sh(' -- "$word")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$word")
  # A colon splits words too; what stands before it is there already.
  if [[ $before == : && ${COMP_WORDS[COMP_CWORD-2]} == x11 || $word == : && $before == x11 ]]; then
    word=${word#:}
    COMPREPLY=()
    while read -r line _; do
      line=${line#x11:}
      [[ $line == "$word"* ]] && COMPREPLY+=("$line")
    done < <("${COMP_WORDS[0]}" --list-displays 2>/dev/null)
  elif [[ -n $word && x11: == "$word"* ]]; then
    COMPREPLY+=('x11:')
    compopt -o nospace 2>/dev/null
  elif [[ -n $word && test: == "$word"* ]]; then
    COMPREPLY+=('test:')
    compopt -o nospace 2>/dev/null
  elif [[ -n $word && verify == "$word"* && $COMP_CWORD == 1 ]]; then
    COMPREPLY+=('verify')
  fi
}
complete -o filenames -F _vxrecord vxrecord
)sh";
}

std::string zshCompletion() {
  std::string lines;
  for (const OptionEntry& option : optionTable()) {
    lines += zshLine(option);
  }
  return R"sh(#compdef vxrecord
# Completion of vxrecord for zsh.
_vxrecord_input() {
  local -a displays
  displays=(${${(f)"$(_call_program displays vxrecord --list-displays 2>/dev/null)"}%% *})
  _alternative 'files:file:_files' 'commands:command:(verify)' "displays:display:compadd -a displays" \
    'tests:test picture:(test\:1280x720@30)'
}
_vxrecord_encoders() {
  compadd -- ${${(f)"$(_call_program encoders vxrecord --list-encoders 2>/dev/null)"}%% *}
}
if [[ ${words[2]} == verify && $CURRENT -gt 2 ]]; then
  shift words
  (( CURRENT-- ))
  _arguments -S \
    '--json[print one JSON object on standard output]' \
    '--svg=[draw the timeline]:picture:_files' \
    '1:recording:_files'
  return
fi
_arguments -s -S \
)sh" + lines +
         R"sh(  '1:input:_vxrecord_input'
)sh";
}

std::string fishCompletion() {
  std::string lines = "# Completion of vxrecord for fish.\n";
  for (const OptionEntry& option : optionTable()) {
    lines += fishLine(option);
  }
  return lines +
         "complete -c vxrecord -a "
         "'(vxrecord --list-displays 2>/dev/null | string replace -r \" .*\" \"\")' -d 'X "
         "display'\n"
         "complete -c vxrecord -a 'test:1280x720@30' -d 'test picture'\n"
         "complete -c vxrecord -n __fish_use_subcommand -a verify "
         "-d 'tell whether a recording is whole'\n"
         "complete -c vxrecord -n '__fish_seen_subcommand_from verify' -l svg -r "
         "-d 'draw the timeline'\n";
}

}  // namespace vxrecord
