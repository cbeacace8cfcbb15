#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

// Writes a basic regular expression, as the C library reads it, in the syntax of the matcher. Lives
// on the stack of one compilation, in the "C" locale.
class RegexTranslation final {
 public:
  // `expression` is one that the library compiles; see BasicRegex::compile.
  explicit RegexTranslation(std::string_view expression) : m_expression(expression) {}

  // The expression in the other syntax; `error` is the reason why there is none.
  [[nodiscard]] std::string run(std::string& error);

 private:
  void token();
  void escape(char c);
  void openGroup();
  void closeGroup();
  void anchor(std::string_view text);
  void bracket();
  void interval();
  void atom(std::string_view text);
  void literal(char c);
  // `sign` repeats what is in front of it; where nothing is, it stands for `itself`.
  void repeat(std::string_view sign, char itself);

  static constexpr std::size_t NONE = std::string::npos;

  std::string_view m_expression;
  std::size_t m_at = 0;
  std::string m_result;
  std::string m_error;
  std::size_t m_atom = NONE;          // where in the result begins what can be repeated
  std::vector<std::size_t> m_groups;  // where those begin that are open
  std::map<std::string_view, std::string> m_classes;  // of the brackets met so far
};

}  // namespace orv
