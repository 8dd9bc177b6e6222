#include "tools/qvrnctl/displaywidth.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace qvrn {
namespace {

struct WidthRange {
  char32_t first;
  char32_t last;
  std::size_t width;
};

// The blocks of characters that do not take one column, in ascending order.
constexpr WidthRange kRanges[] = {
    {0x0300, 0x036F, 0},    // combining marks
    {0x0483, 0x0489, 0},    // Cyrillic
    {0x0591, 0x05BD, 0},    // Hebrew points
    {0x064B, 0x065F, 0},    // Arabic marks
    {0x093C, 0x093C, 0},    // Devanagari
    {0x0941, 0x0948, 0},    //
    {0x094D, 0x094D, 0},    //
    {0x0E31, 0x0E31, 0},    // Thai
    {0x0E34, 0x0E3A, 0},    //
    {0x0E47, 0x0E4E, 0},    //
    {0x1100, 0x115F, 2},    // Hangul, leading
    {0x1160, 0x11FF, 0},    // Hangul, following
    {0x1AB0, 0x1AFF, 0},    // combining marks
    {0x1DC0, 0x1DFF, 0},    //
    {0x200B, 0x200F, 0},    // no width, joiners, directions
    {0x202A, 0x202E, 0},    //
    {0x2060, 0x2064, 0},    //
    {0x20D0, 0x20FF, 0},    // combining marks for symbols
    {0x2E80, 0x3029, 2},    // East Asian radicals and punctuation
    {0x302A, 0x302D, 0},    // tone marks
    {0x302E, 0x303E, 2},    //
    {0x3041, 0x3098, 2},    // Hiragana
    {0x3099, 0x309A, 0},    // voiced sound marks
    {0x309B, 0x4DBF, 2},    // Katakana, Bopomofo, ideographs
    {0x4E00, 0xA4CF, 2},    // ideographs, Yi
    {0xA960, 0xA97F, 2},    // Hangul
    {0xAC00, 0xD7A3, 2},    //
    {0xF900, 0xFAFF, 2},    // ideographs
    {0xFE00, 0xFE0F, 0},    // variation selectors
    {0xFE20, 0xFE2F, 0},    // combining halves
    {0xFE30, 0xFE6F, 2},    // East Asian forms
    {0xFEFF, 0xFEFF, 0},    // no width
    {0xFF01, 0xFF60, 2},    // full width
    {0xFFE0, 0xFFE6, 2},    //
    {0x1F300, 0x1F64F, 2},  // pictographs
    {0x1F680, 0x1F6FF, 2},  //
    {0x1F900, 0x1F9FF, 2},  //
    {0x20000, 0x3FFFD, 2},  // ideographs
};

std::size_t WidthOf(char32_t character) {
  const auto* range = std::ranges::lower_bound(kRanges, character, {}, &WidthRange::last);
  return range == std::end(kRanges) || character < range->first ? 1 : range->width;
}

}  // namespace

std::size_t DisplayWidth(std::wstring_view text) {
  std::size_t width = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (i + 1 < text.size() && IS_SURROGATE_PAIR(text[i], text[i + 1])) {
      character = 0x10000 + ((text[i] - 0xD800U) << 10) + (text[i + 1] - 0xDC00U);
      ++i;
    }
    width += WidthOf(character);
  }
  return width;
}

}  // namespace qvrn
