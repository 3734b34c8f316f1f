#include "cli/arg_parser.h"

#include "common/text_format.h"

namespace lumetra::cli {
namespace {

// "--region: 4294967298 is out of range (-2147483648 to 2147483647)".
std::string OutOfRange(const std::string& name, int64_t v, int64_t lo, int64_t hi) {
  return "--" + name + ": " + std::to_string(v) + " is out of range (" + std::to_string(lo) +
         " to " + std::to_string(hi) + ")";
}

}  // namespace

ArgParser::ArgParser(std::string command, std::string summary)
    : command_(std::move(command)), summary_(std::move(summary)) {}

ArgParser& ArgParser::Positional(std::string name, std::string help) {
  positional_specs_.emplace_back(std::move(name), std::move(help));
  return *this;
}

ArgParser& ArgParser::RepeatedPositional(std::string name, std::string help, bool optional) {
  Positional(std::move(name), std::move(help));
  repeated_last_ = true;
  repeated_optional_ = optional;
  return *this;
}

ArgParser& ArgParser::Option(std::string name, std::string value_name, std::string help,
                             std::string default_value) {
  specs_.push_back(
      {std::move(name), std::move(value_name), std::move(help), std::move(default_value)});
  return *this;
}

ArgParser& ArgParser::Flag(std::string name, std::string help) {
  specs_.push_back({std::move(name), "", std::move(help), ""});
  return *this;
}

const ArgParser::OptionDef* ArgParser::Find(const std::string& name) const {
  for (const OptionDef& s : specs_)
    if (s.name == name) return &s;
  return nullptr;
}

bool ArgParser::Parse(const std::vector<std::string>& args, std::string& error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      help_requested_ = true;
      return true;
    }
    if (a.size() > 2 && a.rfind("--", 0) == 0) {
      std::string name = a.substr(2), value;
      bool inline_value = false;
      if (auto eq = name.find('='); eq != std::string::npos) {
        value = name.substr(eq + 1);
        name.resize(eq);
        inline_value = true;
      }
      const OptionDef* s = Find(name);
      if (!s) {
        error = "unknown option --" + name;
        return false;
      }
      if (s->value_name.empty()) {
        if (inline_value) {
          error = "--" + name + " takes no value";
          return false;
        }
        values_[name] = "1";
        continue;
      }
      if (!inline_value) {
        if (i + 1 >= args.size()) {
          error = "--" + name + " needs a value (" + s->value_name + ")";
          return false;
        }
        value = args[++i];
      }
      values_[name] = value;
      continue;
    }
    positionals_.push_back(a);
  }
  const size_t need = positional_specs_.size() - (repeated_optional_ ? 1 : 0);
  if (positionals_.size() < need) {
    error = "missing " + positional_specs_[positionals_.size()].first;
    return false;
  }
  if (positionals_.size() > positional_specs_.size() && !repeated_last_) {
    error = "unexpected argument " + positionals_[positional_specs_.size()];
    return false;
  }
  return true;
}

std::string ArgParser::Value(const std::string& name) const {
  if (auto it = values_.find(name); it != values_.end()) return it->second;
  const OptionDef* s = Find(name);
  return s ? s->default_value : std::string();
}

bool ArgParser::Int(const std::string& name, int64_t& out, std::string& error, int64_t lo,
                    int64_t hi) const {
  const std::string text = Value(name);
  if (text.empty() && !Has(name)) return true;
  auto v = ParseInteger(text);
  if (!v) {
    error = "--" + name + ": not a whole number: " + text;
    return false;
  }
  if (*v < lo || *v > hi) {
    error = OutOfRange(name, *v, lo, hi);
    return false;
  }
  out = *v;
  return true;
}

bool ArgParser::Real(const std::string& name, double& out, std::string& error) const {
  const std::string text = Value(name);
  if (text.empty() && !Has(name)) return true;
  auto v = ParseReal(text);
  if (!v) {
    error = "--" + name + ": not a number: " + text;
    return false;
  }
  out = *v;
  return true;
}

bool ArgParser::IntList(const std::string& name, size_t count, std::vector<int64_t>& out,
                        std::string& error) const {
  const std::string text = Value(name);
  out.clear();
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    auto v = ParseInteger(std::string_view(text).substr(start, comma - start));
    if (!v) {
      error = "--" + name + ": expected whole numbers separated by commas: " + text;
      return false;
    }
    if (*v < INT32_MIN || *v > INT32_MAX) {
      error = OutOfRange(name, *v, INT32_MIN, INT32_MAX);
      return false;
    }
    out.push_back(*v);
    start = comma + 1;
  }
  if (count != 0 && out.size() != count) {
    error = "--" + name + ": expected " + std::to_string(count) + " numbers: " + text;
    return false;
  }
  return true;
}

std::string ArgParser::Help() const {
  std::string usage = "usage: " + program_ + " " + command_;
  for (const auto& [name, help] : positional_specs_) usage += " " + name;
  if (repeated_last_) usage += " ...";
  if (!specs_.empty()) usage += " [options]";
  std::string out = usage + "\n\n" + summary_ + "\n";
  if (!positional_specs_.empty()) {
    out += "\narguments:\n";
    for (const auto& [name, help] : positional_specs_)
      out += "  " + name + "\n      " + help + "\n";
  }
  if (!specs_.empty()) {
    out += "\noptions:\n";
    for (const OptionDef& s : specs_) {
      out +=
          "  --" + s.name + (s.value_name.empty() ? "" : " " + s.value_name) + "\n      " + s.help;
      if (!s.default_value.empty()) out += " (default " + s.default_value + ")";
      out += "\n";
    }
  }
  out += "  --help\n      show this text\n";
  return out;
}

}  // namespace lumetra::cli
