#include "lab/widetext.h"

namespace lab {

std::wstring Wide(std::string_view text, UINT codePage) {
  std::wstring out(text.size(), L'\0');
  const int size = static_cast<int>(text.size());
  out.resize(static_cast<std::size_t>(::MultiByteToWideChar(codePage, 0, text.data(), size, out.data(), size)));
  return out;
}

std::string Utf8(std::wstring_view text) {
  std::string out(text.size() * 3, '\0');
  out.resize(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(),
                                                     static_cast<int>(out.size()), nullptr, nullptr)));
  return out;
}

}  // namespace lab
