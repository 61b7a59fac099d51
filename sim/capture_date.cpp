#include "sim/capture_date.h"

#include <chrono>
#include <ctime>
#include <exception>
#include <exiv2/exiv2.hpp>
#include <string>
#include <system_error>

namespace sim {
namespace {

using photos::Date;

// The number that these digits write; nothing when one is no digit.
std::optional<int> number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') {
      return std::nullopt;
    }
    value = value * 10 + (digit - '0');
  }
  return value;
}

// Whether the text has the pattern's length and, where that has no digit, its characters.
bool looksLike(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) {
    return false;
  }
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (pattern[index] != '0' && pattern[index] != text[index]) {
      return false;
    }
  }
  return true;
}

struct Moment {
  std::chrono::year_month_day day;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

std::optional<Moment> parseMoment(std::string_view text) {
  if (!looksLike(text, "0000:00:00 00:00:00")) {
    return std::nullopt;
  }
  const auto year = number(text.substr(0, 4));
  const auto month = number(text.substr(5, 2));
  const auto day = number(text.substr(8, 2));
  const auto hour = number(text.substr(11, 2));
  const auto minute = number(text.substr(14, 2));
  const auto second = number(text.substr(17, 2));
  if (!year || !month || !day || !hour || !minute || !second) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 60) {
    return std::nullopt;
  }
  return Moment{date, *hour, *minute, *second};
}

// Seconds east of Greenwich of "+02:00".
std::optional<int> parseOffset(std::string_view text) {
  if (!looksLike(text, "+00:00") && !looksLike(text, "-00:00")) {
    return std::nullopt;
  }
  const auto hours = number(text.substr(1, 2));
  const auto minutes = number(text.substr(4, 2));
  if (!hours || !minutes || *hours > 23 || *minutes > 59) {
    return std::nullopt;
  }
  const int seconds = (*hours * 60 + *minutes) * 60;
  return text[0] == '-' ? -seconds : seconds;
}

// The part of a second that these digits write after the point.
double parseFraction(std::string_view digits) {
  const std::string_view counted = digits.substr(0, 9);
  double whole = 1;
  for (std::size_t place = 0; place < counted.size(); ++place) {
    whole *= 10;
  }
  return number(counted).value_or(0) / whole;
}

std::optional<Date> localDate(const Moment& moment) {
  std::tm local{};
  local.tm_year = static_cast<int>(moment.day.year()) - 1900;
  local.tm_mon = static_cast<int>(static_cast<unsigned>(moment.day.month())) - 1;
  local.tm_mday = static_cast<int>(static_cast<unsigned>(moment.day.day()));
  local.tm_hour = moment.hour;
  local.tm_min = moment.minute;
  local.tm_sec = moment.second;
  local.tm_isdst = -1;
  local.tm_wday = -1;  // stays only when the time can't be told
  const std::time_t time = std::mktime(&local);
  if (local.tm_wday == -1) {
    return std::nullopt;
  }
  return static_cast<Date>(time);
}

Date dateAt(const Moment& moment, int offset) {
  const auto days = std::chrono::sys_days(moment.day).time_since_epoch().count();
  return static_cast<Date>(days) * 86400 + moment.hour * 3600 + moment.minute * 60 + moment.second -
         offset;
}

std::string_view trimmed(std::string_view text) {
  const auto end = text.find_last_not_of(std::string_view(" \0", 2));
  return end == std::string_view::npos ? std::string_view() : text.substr(0, end + 1);
}

std::string valueOf(const Exiv2::ExifData& exif, const char* key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  return found == exif.end() ? std::string() : found->toString();
}

// Exiv2 writes warnings about odd files to standard error unless it is told not to.
void setUpExiv2() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Exiv2::enableBMFF();
}

}  // namespace

std::optional<Date> exifDate(std::string_view dateTime, std::string_view offset,
                             std::string_view fraction) {
  const auto moment = parseMoment(trimmed(dateTime));
  if (!moment) {
    return std::nullopt;
  }
  const auto seconds = parseOffset(trimmed(offset));
  const auto date = seconds ? dateAt(*moment, *seconds) : localDate(*moment);
  if (!date) {
    return std::nullopt;
  }
  return *date + parseFraction(trimmed(fraction));
}

std::optional<Date> exifCaptureDate(const std::filesystem::path& still) {
  std::error_code error;
  // Exiv2 takes "http://…", "-" and the like for something else than a file: an absolute path
  // never looks like that.
  const auto path = std::filesystem::absolute(still, error);
  if (error) {
    return std::nullopt;
  }
  try {
    setUpExiv2();
    const auto image = Exiv2::ImageFactory::open(path.string());
    image->readMetadata();
    const Exiv2::ExifData& exif = image->exifData();
    return exifDate(valueOf(exif, "Exif.Photo.DateTimeOriginal"),
                    valueOf(exif, "Exif.Photo.OffsetTimeOriginal"),
                    valueOf(exif, "Exif.Photo.SubSecTimeOriginal"));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<Date> fileDate(const std::filesystem::path& file) {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(file, error);
  if (error) {
    return std::nullopt;
  }
  const auto sinceEpoch = std::chrono::file_clock::to_sys(time).time_since_epoch();
  return std::chrono::duration<double>(sinceEpoch).count();
}

}  // namespace sim
