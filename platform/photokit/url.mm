#include "platform/photokit/url.h"

#import <AppKit/AppKit.h>

#include <utility>

#include "platform/photokit/attempt.h"
#include "platform/photokit/conversions.h"
#include "platform/photokit/retained.h"

namespace platform::photokit {
namespace {

class PhotoKitURL : public photos::URL {
 public:
  explicit PhotoKitURL(Retained<NSURL> url) : url_(std::move(url)) {}
  [[nodiscard]] NSURL* get() const { return url_.get(); }

 private:
  Retained<NSURL> url_;
};

/// Nil when the text is not a valid URL.
NSURL* strictURL(NSString* text) {
  // From macOS 14 on, URLWithString: escapes invalid characters instead of refusing them. The
  // method that refuses them is looked up at run time, since older systems lack it.
  const SEL selector = NSSelectorFromString(@"URLWithString:encodingInvalidCharacters:");
  if (![NSURL respondsToSelector:selector]) {
    return [NSURL URLWithString:text];
  }
  using StrictParser = NSURL* (*)(id, SEL, NSString*, BOOL);
  using AnyMethod = void (*)();
  const auto method = reinterpret_cast<AnyMethod>([NSURL methodForSelector:selector]);
  return reinterpret_cast<StrictParser>(method)([NSURL class], selector, text, NO);
}

}  // namespace

std::unique_ptr<photos::URL> parseURL(const std::string& text) {
  Retained<NSURL> url = attempt(Retained<NSURL>(), [&] {
    const Retained<NSString> string = stringOf(text);
    return string ? Retained<NSURL>(strictURL(string.get())) : Retained<NSURL>();
  });
  return url ? std::make_unique<PhotoKitURL>(std::move(url)) : nullptr;
}

bool openWithWorkspace(const photos::URL& url) {
  return attempt(false, [&] {
    return [[NSWorkspace sharedWorkspace] openURL:static_cast<const PhotoKitURL&>(url).get()] != NO;
  });
}

std::string pathExtension(std::string_view filename) {
  // The file URL of no name is the working directory's, which may have an extension.
  if (filename.empty()) {
    return {};
  }
  return attempt(std::string(), [&] {
    const Retained<NSString> name = stringOf(filename);
    return name ? textOf([[NSURL fileURLWithPath:name.get()] pathExtension]) : std::string();
  });
}

}  // namespace platform::photokit
