// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Help.h"

namespace vixprores {
namespace {

// Words that a shell offers at one place of a command line.
struct Offer {
  std::vector<std::string> words;
  Completion kind;  // used if there are no words: File, Folder or Nothing
};

// Adds 'help', which the parser handles itself.
std::vector<Command> WithHelp(std::vector<Command> commands) {
  Command help;
  help.name = "help";
  help.summary = "Explain a command";
  help.arguments = {{"COMMAND", "command to explain", Completion::Command}};
  commands.push_back(help);
  return commands;
}

template <typename Place>
Offer OfferFor(const Place& place, const std::vector<Command>& commands) {
  if (!place.choices.empty()) return {place.choices, Completion::Nothing};
  if (place.completion == Completion::Command) return {NamesOf(commands), Completion::Nothing};
  return {{}, place.completion};
}

// Merges the offers of all arguments: the scripts do not count positions.
Offer OfferForArguments(const Command& command, const std::vector<Command>& commands) {
  Offer offer{{}, Completion::Nothing};
  for (const Argument& argument : command.arguments) {
    const Offer one = OfferFor(argument, commands);
    offer.words.insert(offer.words.end(), one.words.begin(), one.words.end());
    if (offer.kind != Completion::File && one.kind != Completion::Nothing) offer.kind = one.kind;
  }
  return offer;
}

// Quotes the text as one word of bash or zsh.
std::string Quote(const std::string& text) {
  return "'" + Replace(text, "'", "'\\''") + "'";
}

std::string BashOffer(const Offer& offer) {
  const char* const kind = offer.kind == Completion::File     ? "file"
                           : offer.kind == Completion::Folder ? "folder"
                                                              : "word";
  return std::string("kind=") + kind + " words=" + Quote(Join(offer.words, " "));
}

constexpr const char* kBashBegin =
    R"(# bash completion of vixprores, made by 'vixprores completion bash'
_vixprores() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} kind=word words='' options='' place
  # An equals sign is a word of its own.
  if [[ $word == = ]]; then
    word=''
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  place=$command
  if ((COMP_CWORD == 1)); then
    place=''
  elif [[ $previous == -?* ]]; then
    place="$command $previous"
  fi
  case $place in
)";

constexpr const char* kBashEnd = R"(  esac
  COMPREPLY=()
  if [[ $word == -* && $place != *' '* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  elif [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  fi
  # Without words, readline completes file names itself.
  case $kind in
    folder) compopt +o default +o bashdefault -o dirnames 2>/dev/null ;;
    word) compopt +o default +o bashdefault 2>/dev/null ;;
  esac
  return 0
}
complete -o bashdefault -o default -F _vixprores vixprores
)";

std::string BashCase(const Command& command, const std::vector<Command>& commands) {
  std::string names;
  std::string flags = command.name;
  std::string text;
  for (const Option* option : OptionsOf(command)) {
    for (const std::string& name : NamesOf(*option)) {
      names += name + " ";
      if (option->value.empty()) {
        flags += " | " + Quote(command.name + " " + name);
      } else {
        text += "    " + Quote(command.name + " " + name) + ") " +
                BashOffer(OfferFor(*option, commands)) + " ;;\n";
      }
    }
  }
  return text + "    " + flags + ")\n      place=" + command.name +
         " options=" + Quote(names + "--help") + "\n      " +
         BashOffer(OfferForArguments(command, commands)) + "\n      ;;\n";
}

// Escapes text for the brackets and colons of a zsh specification.
std::string ZshText(const std::string& text) {
  std::string escaped;
  for (const char letter : text) {
    if (std::string_view("[]:\\").find(letter) != std::string_view::npos) escaped += '\\';
    escaped += letter;
  }
  return escaped;
}

std::string ZshAction(const Offer& offer) {
  if (!offer.words.empty()) return "(" + Join(offer.words, " ") + ")";
  if (offer.kind == Completion::Folder) return "_path_files -/";
  return offer.kind == Completion::File ? "_files" : " ";
}

std::string ZshOption(const std::string& name, const Option& option,
                      const std::vector<Command>& commands) {
  const std::string brief = "[" + ZshText(option.brief) + "]";
  if (option.value.empty()) return name + brief;
  // "=" allows the value of a long name after a blank or an equals sign.
  return name + (name.starts_with("--") ? "=" : "") + brief + ":" + ZshText(option.value) + ":" +
         ZshAction(OfferFor(option, commands));
}

std::string ZshCase(const Command& command, const std::vector<Command>& commands) {
  std::string text = "    " + command.name + ")\n      _arguments \\\n";
  for (const Option* option : OptionsOf(command)) {
    for (const std::string& name : NamesOf(*option)) {
      text += "        " + Quote(ZshOption(name, *option, commands)) + " \\\n";
    }
  }
  text += "        '--help[explain the command]'";
  std::vector<std::string> names;
  std::ranges::transform(command.arguments, std::back_inserter(names), &Argument::name);
  if (!names.empty()) {
    text += " \\\n        " + Quote("*:" + ZshText(Join(names, " or ")) + ":" +
                                    ZshAction(OfferForArguments(command, commands)));
  }
  return text + "\n      ;;\n";
}

constexpr const char* kZshEnd = R"(  esac
}

if [[ $funcstack[1] == _vixprores ]]; then
  _vixprores "$@"
else
  compdef _vixprores vixprores
fi
)";

std::string FishQuote(const std::string& text) {
  return "'" + Replace(Replace(text, "\\", "\\\\"), "'", "\\'") + "'";
}

std::string FishOffer(const Offer& offer) {
  if (!offer.words.empty()) return " -a " + FishQuote(Join(offer.words, " "));
  if (offer.kind == Completion::Folder) return " -a '(__fish_complete_directories)'";
  return offer.kind == Completion::File ? " -F" : "";
}

std::string FishCase(const Command& command, const std::vector<Command>& commands) {
  const std::string line =
      "complete -c vixprores -n " + FishQuote("__vixprores_command " + command.name);
  std::string text = "complete -c vixprores -n __vixprores_command -a " + command.name + " -d " +
                     FishQuote(command.summary) + "\n";
  const Offer arguments = OfferForArguments(command, commands);
  text += line + (arguments.kind == Completion::File ? "" : " -f") + FishOffer(arguments) + "\n";
  for (const Option* option : OptionsOf(command)) {
    text += line;
    for (const std::string& name : NamesOf(*option)) {
      text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    text += " -d " + FishQuote(option->brief);
    if (!option->value.empty()) {
      const Offer offer = OfferFor(*option, commands);
      text += (offer.kind == Completion::File ? " -r" : " -x") + FishOffer(offer);
    }
    text += "\n";
  }
  return text;
}

constexpr const char* kFishBegin =
    R"(# fish completion of vixprores, made by 'vixprores completion fish'
function __vixprores_command --description 'Test whether the command line has this command, or none yet'
    set -l words (commandline -opc)
    if test (count $argv) -eq 0
        test (count $words) -eq 1
    else
        test (count $words) -gt 1; and test $words[2] = $argv[1]
    end
end

complete -c vixprores -n __vixprores_command -f
complete -c vixprores -n __vixprores_command -l version -d 'Print the version and the build'
complete -c vixprores -l help -d 'Explain the program or the command'
)";

}  // namespace

std::string BashCompletion(const std::vector<Command>& commands) {
  std::string text = std::string(kBashBegin) + "    '') options='--help --version' words=" +
                     Quote(Join(NamesOf(WithHelp(commands)), " ")) + " ;;\n";
  for (const Command& command : WithHelp(commands)) text += BashCase(command, commands);
  return text + kBashEnd;
}

std::string ZshCompletion(const std::vector<Command>& commands) {
  std::string text =
      "#compdef vixprores\n"
      "# zsh completion of vixprores, made by 'vixprores completion zsh'\n"
      "_vixprores() {\n"
      "  if (( CURRENT == 2 )); then\n"
      "    local -a commands=(\n";
  for (const Command& command : WithHelp(commands)) {
    text += "      " + Quote(command.name + ":" + ZshText(command.summary)) + "\n";
  }
  text +=
      "      '--help:Explain the program'\n"
      "      '--version:Print the version and the build'\n"
      "    )\n"
      "    _describe command commands\n"
      "    return\n"
      "  fi\n"
      "  shift words\n"
      "  (( CURRENT-- ))\n"
      "  case $words[1] in\n";
  for (const Command& command : WithHelp(commands)) text += ZshCase(command, commands);
  return text + kZshEnd;
}

std::string FishCompletion(const std::vector<Command>& commands) {
  std::string text = kFishBegin;
  for (const Command& command : WithHelp(commands)) text += FishCase(command, commands);
  return text;
}

namespace {

struct Shell {
  const char* name;
  std::string (*script)(const std::vector<Command>& commands);
};

constexpr std::array<Shell, 3> kShells{
    {{"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}}};

struct CompletionOptions {
  std::string shell;
};

std::vector<std::string> ShellNames() {
  std::vector<std::string> names;
  std::ranges::transform(kShells, std::back_inserter(names), &Shell::name);
  return names;
}

const Shell& FindShell(const std::string& name) {
  const auto* const found = std::ranges::find(kShells, name, &Shell::name);
  if (found != kShells.end()) return *found;
  throw UsageError("completion: unknown shell '" + name + "'" + Suggest(name, ShellNames()) +
                   "; choose one of " + JoinWords(ShellNames()));
}

Command DescribeCompletion(CompletionOptions& options) {
  Command command;
  command.name = "completion";
  command.summary = "Print a completion script for a shell";
  command.description =
      "Prints a script with which a shell completes commands, options and their values. Shells "
      "find the installed scripts by themselves.";
  command.usages = {"SHELL"};
  command.arguments = {{"SHELL", JoinWords(ShellNames()), Completion::Nothing, ShellNames()}};
  command.takeArguments = TakeWords({"SHELL"}, {options.shell});
  command.examples = {
      {"eval \"$(vixprores completion bash)\"", "Enable completion in this session of bash."}};
  return command;
}

int RunCompletion(const CompletionOptions& options) {
  const std::string script = FindShell(options.shell).script(AllCommands());
  return std::fputs(script.c_str(), stdout) < 0 ? kExitFailed : kExitDone;
}

}  // namespace

Command MakeCompletionCommand() {
  return BindOptions(DescribeCompletion, RunCompletion);
}

}  // namespace vixprores
