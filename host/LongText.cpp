#include "host/LongText.h"

#include "host/Text.h"

namespace qvhost {

void CutMiddle(std::string& text, std::size_t length) {
  if (text.size() <= length) return;
  std::size_t end = text.size() - length / 2;
  while (end < text.size() && !DecodeUtf8(text, end).valid) ++end;
  const std::string rest = text.substr(end);
  CutText(text, length / 2);
  text += rest;
}

}  // namespace qvhost
