// Bytes taken as UTF-8 text, whatever they are.
#pragma once

#include <string>
#include <string_view>

namespace app {

/// The bytes as valid UTF-8: each maximal piece of them that begins like a character but is none,
/// and each byte that begins none, is replaced by U+FFFD. Valid text is used where it stands.
class Utf8Text {
 public:
  /// `bytes` outlive the object.
  explicit Utf8Text(std::string_view bytes);
  Utf8Text(const Utf8Text&) = delete;
  Utf8Text& operator=(const Utf8Text&) = delete;
  ~Utf8Text() = default;

  [[nodiscard]] std::string_view view() const { return view_; }

 private:
  std::string repaired_;
  std::string_view view_;
};

}  // namespace app
