#ifndef PASKOSDA_CONTAINERS_UTOSTREAM_H
#define PASKOSDA_CONTAINERS_UTOSTREAM_H

/// \file
/// `utOstream`, the indenting output stream on which the library prints arrays, vectors and
/// polynomials.

#include <ostream>
#include <string>

#include "paskosda_export.h"

/// The character a nested `utOstream` indents with.
enum utOstreamTab {
  utOstreamTabSpaces = 0,  ///< `width` spaces per level
  utOstreamTabTabs = 1     ///< one tab character per level
};

/// An indenting output stream over a std::ostream. Every line written through it starts with
/// its indentation; nested streams (made from a parent) write through the same std::ostream
/// one or more levels deeper. A nested stream must not outlive its parent.
class PASKOSDA_EXPORT utOstream {
 public:
  /// A top-level stream on `os` whose lines are indented by `level * width` spaces.
  utOstream(std::ostream& os, int level, int width) noexcept;
  /// A stream writing through `parent`, `levels` levels deeper. `width` is the number of
  /// spaces per level, 0 meaning the parent's; `tab` chooses spaces or tab characters.
  utOstream(utOstreamTab tab, const utOstream& parent, int levels, int width) noexcept;
  utOstream(const utOstream&) = delete;
  utOstream& operator=(const utOstream&) = delete;
  ~utOstream() = default;

  /// Writes x with the underlying stream's formatting, indented when it starts a line.
  ///@{
  utOstream& operator<<(double x);
  utOstream& operator<<(int x);
  utOstream& operator<<(long x);
  utOstream& operator<<(unsigned long x);
  ///@}
  /// Writes the character; a newline ends the line, so the next character is indented.
  utOstream& operator<<(char c);
  /// Writes the text; each newline in it ends a line, so the next character is indented.
  ///@{
  utOstream& operator<<(const char* text);
  utOstream& operator<<(const std::string& text);
  ///@}
  /// Applies a stream manipulator such as std::endl or std::fixed to the underlying stream;
  /// std::endl also ends the line.
  ///@{
  utOstream& operator<<(std::ostream& (*manipulator)(std::ostream&));
  utOstream& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
  ///@}

  /// The underlying standard stream (format flags and precision live there).
  std::ostream& get_ostream() const noexcept { return *os_; }

 private:
  void indent_if_at_line_start();

  std::ostream* os_ = nullptr;
  // Whether the next character starts a line. Shared by a stream and every stream nested in
  // it, since they all write the same lines.
  bool* at_line_start_ = nullptr;
  bool own_line_start_ = true;
  int level_ = 0;
  int width_ = 0;
  utOstreamTab tab_;
};

namespace paskosda_detail {

/// Prints x on os through a top-level `utOstream` made with (0, 2): the form every
/// std::ostream output operator of the library takes.
template <class T>
std::ostream& print_on_ostream(std::ostream& os, const T& x) {
  utOstream out(os, 0, 2);
  out << x;
  return os;
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_CONTAINERS_UTOSTREAM_H
