#include "manifest/date_coding.hpp"

#include <charconv>
#include <cstdint>

#include "zorvi/manifest_coding.hpp"

namespace zorvi::ManifestCoder {
namespace {

struct CivilDay {
  std::int64_t year;
  int month, day;
};

// Proleptic Gregorian calendar in 64-bit arithmetic (H. Hinnant's algorithms), so that no
// representable instant overflows, unlike std::chrono::year.
std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

CivilDay civilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  const int month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysInMonth(std::int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// The decimal value of text[at, at + width), or -1 unless every one of those bytes is a digit.
int digits(std::string_view text, std::size_t at, std::size_t width) {
  int value = 0;
  for (std::size_t i = at; i < at + width; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

void putTwoDigits(char* out, std::int64_t value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

std::optional<Date> parseDate(std::string_view text) {
  // YYYY-MM-DDTHH:MM:SS, then Z (20 bytes) or ±hh:mm (25 bytes).
  if (text.size() != 20 && text.size() != 25) return std::nullopt;
  if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':') {
    return std::nullopt;
  }
  const int year = digits(text, 0, 4), month = digits(text, 5, 2), day = digits(text, 8, 2);
  const int hour = digits(text, 11, 2), minute = digits(text, 14, 2), second = digits(text, 17, 2);
  if (year < 0 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return std::nullopt;
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) return std::nullopt;

  std::int64_t offsetSeconds = 0;
  if (text.size() == 20) {
    if (text[19] != 'Z') return std::nullopt;
  } else {
    const char sign = text[19];
    const int offsetHour = digits(text, 20, 2), offsetMinute = digits(text, 23, 2);
    if ((sign != '+' && sign != '-') || text[22] != ':') return std::nullopt;
    if (offsetHour < 0 || offsetHour > 23 || offsetMinute < 0 || offsetMinute > 59) return std::nullopt;
    offsetSeconds = (sign == '-' ? -1 : 1) * (offsetHour * 3600 + offsetMinute * 60);
  }

  const std::int64_t seconds =
      daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds;
  const Date date{std::chrono::seconds{seconds}};
  // An offset can carry a local year-0000 or year-9999 time across the edge, where it could not
  // be written back.
  if (date < date_coding::kEarliest || date > date_coding::kLatest) return std::nullopt;
  return date;
}

std::string formatDate(Date date) {
  const std::int64_t seconds = date.time_since_epoch().count();
  std::int64_t days = seconds / 86400, secondOfDay = seconds % 86400;
  if (secondOfDay < 0) {
    secondOfDay += 86400;
    --days;
  }
  const CivilDay civil = civilFromDays(days);

  char buffer[48];
  char* out = buffer;
  if (civil.year < 0 || civil.year > 9999) *out++ = civil.year < 0 ? '-' : '+';
  const std::int64_t magnitude = civil.year < 0 ? -civil.year : civil.year;
  for (std::int64_t width = 1000; width > 1 && magnitude < width; width /= 10) *out++ = '0';
  out = std::to_chars(out, buffer + sizeof buffer, magnitude).ptr;
  char* tail = out;
  // "-MM-DDTHH:MM:SSZ"
  std::string_view pattern = "-00-00T00:00:00Z";
  for (char c : pattern) *out++ = c;
  putTwoDigits(tail + 1, civil.month);
  putTwoDigits(tail + 4, civil.day);
  putTwoDigits(tail + 7, secondOfDay / 3600);
  putTwoDigits(tail + 10, secondOfDay / 60 % 60);
  putTwoDigits(tail + 13, secondOfDay % 60);
  return std::string(buffer, out);
}

}  // namespace zorvi::ManifestCoder
