#include "sim/capture_date.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <exiv2/exiv2.hpp>
#include <string_view>
#include <system_error>

namespace sim {
namespace {

using photos::Date;

/// The text as a time without a time zone; nothing when it is none.
std::optional<std::tm> parseTime(const std::string& text) {
  std::tm time{};
  const char* const end = strptime(text.c_str(), "%Y:%m:%d %H:%M:%S", &time);
  if (end == nullptr || std::string_view(end).find_first_not_of(' ') != std::string_view::npos) {
    return std::nullopt;
  }
  // timegm() turns a day that the month does not have into one of the next month.
  std::tm normal = time;
  timegm(&normal);
  return normal.tm_mon == time.tm_mon ? std::optional(time) : std::nullopt;
}

/// Seconds east of Greenwich of "+02:00".
std::optional<int> parseOffset(const std::string& text) {
  char sign = 0;
  int hours = 0;
  int minutes = 0;
  // NOLINTNEXTLINE(bugprone-unchecked-string-to-number-conversion): at most two digits each
  if (std::sscanf(text.c_str(), "%c%2d:%2d", &sign, &hours, &minutes) != 3 ||
      (sign != '+' && sign != '-')) {
    return std::nullopt;
  }
  const int seconds = (hours * 60 + minutes) * 60;
  return sign == '-' ? -seconds : seconds;
}

/// The part of a second that these digits write after the point.
double parseFraction(const std::string& digits) {
  const std::size_t count = digits.find_first_not_of("0123456789");
  return std::strtod(("0." + digits.substr(0, count)).c_str(), nullptr);
}

std::string valueOf(const Exiv2::ExifData& exif, const char* key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  return found == exif.end() ? std::string() : found->toString();
}

void setUpExiv2() {
  // Exiv2 writes warnings about odd files to standard error unless it is told not to.
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
#if !EXIV2_TEST_VERSION(0, 28, 3)
  Exiv2::enableBMFF();  // for HEIC; later releases need no asking
#endif
}

}  // namespace

std::optional<Date> exifDate(const std::string& dateTime, const std::string& offset,
                             const std::string& fraction) {
  std::optional<std::tm> time = parseTime(dateTime);
  if (!time) {
    return std::nullopt;
  }
  const std::optional<int> east = parseOffset(offset);
  time->tm_isdst = -1;
  const std::time_t seconds = east ? timegm(&*time) - *east : std::mktime(&*time);
  return static_cast<Date>(seconds) + parseFraction(fraction);
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
