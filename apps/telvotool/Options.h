// The command line: a command, its operands and its options.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tool {

struct Option {
  const char* name;   // with the two hyphens
  const char* value;  // what it takes, for the help; null for a switch
  const char* help;
};

// The option of that name, or null.
const Option* FindOption(const std::string& name);

class Options {
 public:
  // Parses the arguments after the command. "--name VALUE" and "--name=VALUE" are the same; after "--" all arguments
  // are operands. Raises UsageError for an option that is unknown, given twice, without its value, or not in `allowed`.
  Options(const std::vector<std::string>& arguments, const std::vector<std::string>& allowed);

  const std::vector<std::string>& Operands() const { return m_operands; }
  bool Has(const std::string& name) const { return m_values.count(name) != 0; }
  // The value of an option; `otherwise` when it was not given.
  std::string Value(const std::string& name, const std::string& otherwise = "") const;

 private:
  std::vector<std::string> m_operands;
  std::map<std::string, std::string> m_values;
};

}  // namespace tool
