#include "platform/photokit/conversions.h"

#include <cmath>

#include "platform/photokit/attempt.h"

namespace platform::photokit {
namespace {

photos::Error errorOf(std::string description) {
  return {description.empty() ? "Photos gave no reason for its failure" : std::move(description)};
}

}  // namespace

std::string textOf(NSString* string) {
  // Not UTF8String: that ends at a NUL, and is NULL for half a surrogate pair.
  NSData* const data = [string dataUsingEncoding:NSUTF8StringEncoding allowLossyConversion:YES];
  return data == nil ? std::string()
                     : std::string(static_cast<const char*>([data bytes]), [data length]);
}

Retained<NSString> stringOf(std::string_view text) {
  return Retained<NSString>::adopt([[NSString alloc] initWithBytes:text.data()
                                                            length:text.size()
                                                          encoding:NSUTF8StringEncoding]);
}

std::optional<photos::Date> secondsOf(NSDate* date) {
  if (date == nil) {
    return std::nullopt;
  }
  const photos::Date seconds = [date timeIntervalSince1970];
  return std::isfinite(seconds) ? std::optional(seconds) : std::nullopt;
}

photos::Error errorOf(NSError* error) {
  return errorOf(attempt(std::string(), [&] { return textOf([error localizedDescription]); }));
}

photos::Error errorOf(NSException* exception) {
  return errorOf(attempt(std::string(), [&] { return textOf([exception reason]); }));
}

}  // namespace platform::photokit
