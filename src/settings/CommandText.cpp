#include "settings/CommandText.h"

#include <algorithm>
#include <optional>

namespace settings {
namespace {

constexpr std::string_view kSpaces = " \t\n";
// What a word may hold without quotes, besides all beyond ASCII.
constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_~";

class Splitter {
 public:
  void take(char c) {
    if (escaped_) return takeEscaped(c);
    if (c == '\\' && quote_ != '\'') {
      escaped_ = true;
    } else if (quote_ != 0) {
      takeQuoted(c);
    } else if (c == '"' || c == '\'') {
      quote_ = c;
      if (!word_) word_.emplace();
    } else if (kSpaces.find(c) != std::string_view::npos) {
      endWord();
    } else {
      add(c);
    }
  }

  std::vector<std::string> end() {
    if (escaped_) add('\\');
    endWord();
    return std::move(words_);
  }

 private:
  void takeQuoted(char c) {
    if (c != quote_) return add(c);
    quote_ = 0;
  }
  void takeEscaped(char c) {
    escaped_ = false;
    if (quote_ == '"' && c != '"' && c != '\\') add('\\');
    add(c);
  }
  void add(char c) { (word_ ? *word_ : word_.emplace()) += c; }
  void endWord() {
    if (word_) words_.push_back(std::move(*word_));
    word_.reset();
  }

  std::vector<std::string> words_;
  std::optional<std::string> word_;
  char quote_ = 0;  // the quote that is open
  bool escaped_ = false;
};

bool isPlain(char c) {
  return static_cast<unsigned char>(c) > 0x7F || kPlain.find(c) != std::string_view::npos;
}

std::string quoted(const std::string& word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain)) return word;
  std::string text = "\"";
  for (const char c : word) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

}  // namespace

std::vector<std::string> wordsOfCommand(std::string_view text) {
  Splitter splitter;
  for (const char c : text) splitter.take(c);
  return splitter.end();
}

std::string commandText(const std::vector<std::string>& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : " ") + quoted(word);
  return text;
}

}  // namespace settings
