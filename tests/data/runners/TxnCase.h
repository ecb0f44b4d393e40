#ifndef ZELVAN_TESTS_DATA_TXNCASE_H_
#define ZELVAN_TESTS_DATA_TXNCASE_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

// One transaction case file of tests/data/cases (its format is described
// in tests/data/README.md): sections of lines, read as they are, and the
// substitution of the tokens that stand for what is made at test time.
class TxnCase {
 public:
  // Reads the file at path. Throws std::runtime_error when it cannot be
  // read or a line comes before the first section.
  explicit TxnCase(const std::string& path);

  // The file's name without its directory and ".case".
  const std::string& name() const { return m_name; }
  bool has(const std::string& section) const { return m_sections.count(section) != 0; }
  // The section's lines in file order, tokens not yet substituted; empty
  // when the file has no such section.
  const std::vector<std::string>& lines(const std::string& section) const;
  // The section's free text, lines joined with spaces.
  std::string text(const std::string& section) const;

  // Every "*.case" file of dir, sorted by name.
  static std::vector<std::string> findAll(const std::string& dir);

 private:
  std::string m_name;
  std::map<std::string, std::vector<std::string>> m_sections;
};

// "NAME=value" split at the first "=": (NAME, value); value is empty when
// the line has no "=".
std::pair<std::string, std::string> splitField(const std::string& line);

// text with every token of tokens (such as "%PORT") replaced by its value.
std::string substitute(std::string text, const std::map<std::string, std::string>& tokens);

#endif  // ZELVAN_TESTS_DATA_TXNCASE_H_
