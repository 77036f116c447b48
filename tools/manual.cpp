#include "manual.h"

#include "analytic_registry.h"
#include "options.h"
#include "vorn.h"

namespace vt {

namespace {

// Text for roff: backslashes and hyphens escaped, and no line may start with a control character.
std::string roff(const std::string &text) {
  std::string out;
  for (char c : text) {
    if (c == '\\') out += "\\e";
    else if (c == '-') out += "\\-";
    else out += c;
  }
  if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out = "\\&" + out;
  return out;
}

// A tagged paragraph: the option in bold, its value in italics.
std::string tagged(const std::string &option, const std::string &value, const std::string &text) {
  std::string t = ".TP\n.B " + roff(option) + "\n";
  if (!value.empty()) t = ".TP\n.BI \"" + roff(option) + " \" \"" + roff(value) + "\"\n";
  return t + roff(text) + "\n";
}

std::string words(const std::vector<std::string> &list) {
  std::string out;
  for (const std::string &w : list) out += (out.empty() ? "" : " ") + w;
  return out;
}

}  // namespace

std::string man_page() {
  std::string t = ".TH VORN 1 \"\" \"vorn " VORN_VERSION_STRING "\" \"User Commands\"\n";
  t += ".SH NAME\nvorn \\- video analytics over files, image sequences and live cameras\n";
  t += ".SH SYNOPSIS\n.B vorn\n.I COMMAND\n[\\fIOPTIONS\\fR] [\\fIINPUT\\fR...]\n.br\n.B vorn\n.I COMMAND\n.B \\-\\-help\n"
       ".br\n.B vorn \\-\\-version\n";
  t += ".SH DESCRIPTION\n" +
       roff("vorn runs the analytics of the VornBase library over video: files, image sequences such as "
            "frames/%04d.png, standard input, network streams and cameras. Events go out as one JSON object per "
            "line. With no INPUT it runs on a built-in street scene and compares what it found with what the "
            "scene holds.") +
       "\n";
  t += ".SH COMMANDS\n";
  for (const CommandInfo &c : command_list()) t += tagged(c.name, c.args, c.summary);
  t += ".SH ANALYTIC SETTINGS\n" +
       roff("Each analytic command takes its own settings; a configuration file names them by the field after "
            "the two hyphens, with '_' for '-'.") +
       "\n";
  for (const AnalyticEntry *a : analytic_registry()) {
    t += ".SS " + roff(a->kind) + "\n" + roff(a->summary) + "\n";
    for (const AnalyticOption &o : analytic_options(*a)) t += tagged(o.name, o.value, o.help);
  }
  t += ".SH OPTIONS\n";
  for (const GeneralOption &o : general_options()) t += tagged(o.name, o.value, o.help);
  t += ".SH EXIT STATUS\n" +
       roff("0 done; 1 an input or output failed (or ended early with decoding errors); 2 bad command line or "
            "configuration.") +
       "\n";
  t += ".SH FILES\n.TP\n.I share/vornbase/plates\n" + roff("the plate reader's weights") + "\n";
  return t;
}

std::string bash_completion() {
  std::vector<std::string> commands;
  for (const CommandInfo &c : command_list()) commands.push_back(c.name);
  std::string t =
      "# bash completion for vorn (written by `vorn help --bash-completion`)\n"
      "_vorn() {\n"
      "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} cmd=${COMP_WORDS[1]} opts=\n"
      "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
      "    COMPREPLY=($(compgen -W \"" + words(commands) + " --help --version\" -- \"$cur\"))\n"
      "    return\n"
      "  fi\n";
  // Options whose value is a directory, or no file at all.
  std::vector<std::string> dirs = {"--out"}, values;
  for (const GeneralOption &o : general_options())
    if (std::string(o.value) == "N" || std::string(o.value) == "NAME") values.push_back(o.name);
  for (const AnalyticEntry *a : analytic_registry())
    for (const SettingDef &s : a->settings) {
      if (std::string(s.value) == "DIR") dirs.push_back(s.option());
      else if (s.type != SettingType::kText && s.type != SettingType::kOutput && s.type != SettingType::kFlag)
        values.push_back(s.option());
    }
  for (const char *o : {"--bk-type", "--model", "--param"}) values.push_back(o);
  auto alternatives = [](const std::vector<std::string> &list) {
    std::string out;
    for (const std::string &w : list)
      if (out.find(w + "|") == std::string::npos && out.find("|" + w) == std::string::npos)
        out += (out.empty() ? "" : "|") + w;
    return out;
  };
  t += "  case \"$prev\" in\n";
  t += "    " + alternatives(dirs) + ") COMPREPLY=($(compgen -d -- \"$cur\")); return ;;\n";
  t += "    " + alternatives(values) + ") COMPREPLY=(); return ;;\n";
  t += "  esac\n  case \"$cmd\" in\n";
  for (const CommandInfo &c : command_list()) {
    std::vector<std::string> opts;
    for (const GeneralOption &o : general_options())
      if (o.applies(c.name)) opts.push_back(o.name);
    if (const AnalyticEntry *a = find_analytic(c.name))
      for (const AnalyticOption &o : analytic_options(*a)) opts.push_back(o.name);
    t += "    " + c.name + ") opts=\"" + words(opts) + "\" ;;\n";
  }
  t += "  esac\n"
       "  if [[ $cur == -* ]]; then\n"
       "    COMPREPLY=($(compgen -W \"$opts\" -- \"$cur\"))\n"
       "  elif [ \"$cmd\" = help ]; then\n"
       "    COMPREPLY=($(compgen -W \"" + words(commands) + "\" -- \"$cur\"))\n"
       "  else\n"
       "    COMPREPLY=($(compgen -f -- \"$cur\"))\n"
       "  fi\n"
       "}\n"
       "complete -F _vorn vorn\n";
  return t;
}

}  // namespace vt
