#include "containers/utOstream.h"

#include <cstring>

utOstream::utOstream(std::ostream& os, int level, int width) noexcept
    : os_(&os),
      at_line_start_(&own_line_start_),
      level_(level),
      width_(width),
      tab_(utOstreamTabSpaces) {}

utOstream::utOstream(utOstreamTab tab, const utOstream& parent, int levels, int width) noexcept
    : os_(parent.os_),
      at_line_start_(parent.at_line_start_),
      level_(parent.level_ + levels),
      width_(width > 0 ? width : parent.width_),
      tab_(tab) {}

void utOstream::indent_if_at_line_start() {
  if (!*at_line_start_) return;
  *at_line_start_ = false;
  if (level_ <= 0) return;
  if (tab_ == utOstreamTabTabs) {
    for (int i = 0; i < level_; ++i)
      os_->put('\t');
  } else {
    for (int i = 0; i < level_ * width_; ++i)
      os_->put(' ');
  }
}

utOstream& utOstream::operator<<(double x) {
  indent_if_at_line_start();
  *os_ << x;
  return *this;
}

utOstream& utOstream::operator<<(int x) {
  indent_if_at_line_start();
  *os_ << x;
  return *this;
}

utOstream& utOstream::operator<<(long x) {
  indent_if_at_line_start();
  *os_ << x;
  return *this;
}

utOstream& utOstream::operator<<(unsigned long x) {
  indent_if_at_line_start();
  *os_ << x;
  return *this;
}

utOstream& utOstream::operator<<(char c) {
  if (c == '\n') {
    os_->put(c);
    *at_line_start_ = true;
  } else {
    indent_if_at_line_start();
    os_->put(c);
  }
  return *this;
}

utOstream& utOstream::operator<<(const char* text) {
  while (*text != '\0') {
    const char* newline = std::strchr(text, '\n');
    const std::size_t n = newline ? static_cast<std::size_t>(newline - text) : std::strlen(text);
    if (n > 0) {
      indent_if_at_line_start();
      os_->write(text, static_cast<std::streamsize>(n));
    }
    if (!newline) break;
    *this << '\n';
    text = newline + 1;
  }
  return *this;
}

utOstream& utOstream::operator<<(const std::string& text) { return *this << text.c_str(); }

utOstream& utOstream::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
  using Manipulator = std::ostream& (*)(std::ostream&);
  manipulator(*os_);
  if (manipulator == static_cast<Manipulator>(std::endl)) *at_line_start_ = true;
  return *this;
}

utOstream& utOstream::operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
  manipulator(*os_);
  return *this;
}
