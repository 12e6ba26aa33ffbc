// The completion scripts: see completion.h.
//
// All three do the same. The tool's own options are offered up to the first word that is none of them, behind
// it those of the sort command line. A word that does not begin with a dash belongs to the last option in
// front of it, whose operand in the table says what it can be: a file, a directory, one of some words, or a
// number or range, for which nothing is offered. Brackets are left away: shells have their own use for them.
#include "completion.h"

#include "options.h"

namespace fsort_tool {
namespace {

bool is_offered(const Option& option) { return option.name != "(" && option.name != "--"; }

// The names of the options of one kind, between `separator`s.
std::string names_of(bool own, Operand kind, std::string_view separator) {
  std::string names;
  for (const Option& option : all_options()) {
    if (!is_offered(option) || is_own(option) != own || option.kind != kind) continue;
    if (!names.empty()) names += separator;
    names += option.name;
  }
  return names;
}

std::string all_names(bool own, std::string_view with_value) {
  std::string names;
  for (const Option& option : all_options()) {
    if (!is_offered(option) || is_own(option) != own) continue;
    if (!names.empty()) names += ' ';
    names += option.name;
    if (option.operand.starts_with('=')) names += with_value;
  }
  return names;
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// --- bash ---

// "=" is a word of its own there: --progress = auto.
constexpr const char* kBash = R"script(# Completion of fsort for bash.
_fsort() {
  local cur=${COMP_WORDS[COMP_CWORD]} last= own=1 i word values=
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    case $word in
      --) own= ;;
      --*) last=$word ;;
      =) ;;
      -*) last=$word own= ;;
      *) [ "${COMP_WORDS[i - 1]}" = = ] || own= ;;
    esac
  done
  COMPREPLY=()
  if [ "$cur" = = ] || [ "${COMP_WORDS[COMP_CWORD - 1]}" = = ]; then
    [ "$cur" = = ] && cur=
    case $last in
@WORDS@    esac
    COMPREPLY=($(compgen -W "$values" -- "$cur"))
    return
  fi
  case $cur in
    -*)
      [ -n "$own" ] && values="@OWN@"
      COMPREPLY=($(compgen -W "$values @ENGINE@" -- "$cur"))
      [[ ${COMPREPLY-} == *= ]] && compopt -o nospace 2>/dev/null
      return ;;
  esac
  case $last in
    @FILES@) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$cur")) ;;
    @FOLDERS@) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- "$cur")) ;;
    --help) COMPREPLY=($(compgen -W "@TOPICS@ @ENGINE@" -- "$cur")) ;;
  esac
}
complete -F _fsort fsort
)script";

std::string bash_words() {
  std::string cases;
  for (const Option& option : all_options()) {
    if (option.words.empty()) continue;
    cases += "      " + std::string(option.name) + ") values='" + std::string(option.words) + "' ;;\n";
  }
  return cases;
}

std::string topics() { return std::string(find_option("--help")->words); }

std::string filled_in(std::string script) {
  script = replaced(std::move(script), "@FILES@", names_of(false, Operand::file, "|"));
  script = replaced(std::move(script), "@FOLDERS@", names_of(false, Operand::folder, "|"));
  return replaced(std::move(script), "@TOPICS@", topics());
}

std::string bash_script() {
  std::string script = replaced(kBash, "@WORDS@", bash_words());
  script = replaced(std::move(script), "@OWN@", all_names(true, "="));
  return filled_in(replaced(std::move(script), "@ENGINE@", all_names(false, "")));
}

// --- zsh ---

constexpr const char* kZsh = R"script(#compdef fsort
# Completion of fsort for zsh.
_fsort() {
  local -a own options topics
  local last= in_front=1 word i
  own=(
@OWN@  )
  options=(
@ENGINE@  )
  topics=(@TOPICS@)
  for ((i = 2; i < CURRENT; ++i)); do
    word=$words[i]
    case $word in
      --) in_front= ;;
      --*) last=$word ;;
      -*) last=$word in_front= ;;
      *) in_front= ;;
    esac
  done
  case $words[CURRENT] in
@WORDS@    -*)
      [[ -n $in_front ]] && _describe -o 'option of the tool' own
      _describe -o 'option' options
      return ;;
  esac
  case $last in
    @FILES@) _files ;;
    @FOLDERS@) _files -/ ;;
    --help) compadd -a topics ;;
  esac
}
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
  _fsort "$@"
else
  compdef _fsort fsort
fi
)script";

// 'name:summary' for _describe.
std::string zsh_rows(bool own) {
  std::string rows;
  for (const Option& option : all_options()) {
    if (!is_offered(option) || is_own(option) != own) continue;
    const std::string summary = replaced(std::string(option.summary), ":", "\\:");
    rows += "    '" + std::string(option.name) + ":" + replaced(summary, "'", "'\\''") + "'\n";
  }
  return rows;
}

std::string zsh_words() {
  std::string cases;
  for (const Option& option : all_options()) {
    if (option.words.empty()) continue;
    const std::string prefix = std::string(option.name) + "=";
    cases.append("    ").append(prefix).append("*) compset -P '").append(prefix).append("'; compadd ");
    cases.append(option.words).append("; return ;;\n");
  }
  return cases;
}

std::string zsh_script() {
  std::string script = replaced(kZsh, "@OWN@", zsh_rows(true));
  script = replaced(std::move(script), "@ENGINE@", zsh_rows(false));
  return filled_in(replaced(std::move(script), "@WORDS@", zsh_words()));
}

// --- fish ---

constexpr const char* kFishHead = R"script(# Completion of fsort for fish.
function __fsort_in_front
  for word in (commandline -opc)[2..-1]
    string match -q -- '--?*' $word; or return 1
  end
end
complete -c fsort -f
)script";

std::string fish_operand(const Option& option) {
  switch (option.kind) {
    case Operand::file:
      return " -r -F";
    case Operand::folder:
      return " -x -a '(__fish_complete_directories)'";
    case Operand::word:
      return (needs_operand(option) ? " -x -a '" : " -f -a '") + std::string(option.words) + "'";
    case Operand::none:
    case Operand::rest:
      return "";
    default:
      return needs_operand(option) ? " -x" : "";
  }
}

std::string fish_script() {
  std::string script = kFishHead;
  for (const Option& option : all_options()) {
    if (!is_offered(option)) continue;
    script += is_own(option) ? "complete -c fsort -n __fsort_in_front -l " : "complete -c fsort -o '";
    script += option.name.substr(is_own(option) ? 2 : 1);
    if (!is_own(option)) script += '\'';
    script += fish_operand(option) + " -d '" + replaced(std::string(option.summary), "'", "\\'") + "'\n";
  }
  return script;
}

}  // namespace

std::string completion_script(std::string_view shell) {
  if (shell == "bash") return bash_script();
  if (shell == "zsh") return zsh_script();
  if (shell == "fish") return fish_script();
  return {};
}

}  // namespace fsort_tool
