#include "core/wide_appender.h"

#include <utility>

namespace launcher {

WideAppender& WideAppender::operator<<(std::wstring_view added) {
  End(Begin(added.size()) << added);
  return *this;
}

WideAppender& WideAppender::operator<<(std::uint64_t number) {
  End(Begin(WideWriter::kMaxDigits) << number);
  return *this;
}

void WideAppender::Grow(std::size_t count) {
  const std::size_t grown = std::max(used + count, capacity * 2);
  auto larger = Allocate(grown);
  std::copy(text.get(), text.get() + used, larger.get());
  text = std::move(larger);
  capacity = grown;
}

}  // namespace launcher
