// A small command-line option parser: positional arguments, "--name value"
// options and "--flag" switches, with the help text built from the same table.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumetra::cli {

class ArgParser {
 public:
  ArgParser(std::string command, std::string summary);

  // The program the usage line names (default "lumetra-cli").
  ArgParser& Program(std::string name) {
    program_ = std::move(name);
    return *this;
  }
  ArgParser& Positional(std::string name, std::string help);
  // The last positional may take any number of values ("A.xkv B.xkv ..."):
  // at least one, or none when `optional` (another option names them).
  ArgParser& RepeatedPositional(std::string name, std::string help, bool optional = false);
  ArgParser& Option(std::string name, std::string value_name, std::string help,
                    std::string default_value = "");
  ArgParser& Flag(std::string name, std::string help);

  // False with `error` set on a bad command line; `help_requested` when --help
  // was given (then the caller prints Help() and exits 0).
  bool Parse(const std::vector<std::string>& args, std::string& error);
  bool HelpRequested() const { return help_requested_; }
  std::string Help() const;

  const std::string& Arg(size_t i) const { return positionals_.at(i); }
  const std::vector<std::string>& Args() const { return positionals_; }
  bool Has(const std::string& name) const { return values_.count(name) > 0; }
  std::string Value(const std::string& name) const;

  // Typed reads of an option (its default when not given). False with `error`
  // set when the text is not a number of that kind. Whole numbers must lie
  // within [lo, hi], by default the 32-bit range the core works in, so a
  // value never wraps on its way there.
  bool Int(const std::string& name, int64_t& out, std::string& error,
           int64_t lo = INT32_MIN, int64_t hi = INT32_MAX) const;
  bool Real(const std::string& name, double& out, std::string& error) const;
  // Comma-separated whole numbers ("10,20,30,40"), each within the 32-bit
  // range; `count` 0 means any number.
  bool IntList(const std::string& name, size_t count, std::vector<int64_t>& out,
               std::string& error) const;

 private:
  struct OptionDef {
    std::string name;
    std::string value_name;  // empty for a flag
    std::string help;
    std::string default_value;
  };
  const OptionDef* Find(const std::string& name) const;

  std::string program_ = "lumetra-cli";
  std::string command_;
  std::string summary_;
  std::vector<std::pair<std::string, std::string>> positional_specs_;
  bool repeated_last_ = false;
  bool repeated_optional_ = false;
  std::vector<OptionDef> specs_;
  std::vector<std::string> positionals_;
  std::map<std::string, std::string> values_;
  bool help_requested_ = false;
};

}  // namespace lumetra::cli
