// Foundation's values as ours, and back. All of it takes nil. To be called within an autorelease
// pool.
#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

#include "photos/platform.h"
#include "platform/photokit/retained.h"

namespace platform::photokit {

/// The text in UTF-8; empty for nil. Half a surrogate pair, which has no UTF-8 form, is left to
/// Foundation's lossy conversion.
[[nodiscard]] std::string textOf(NSString* string);

/// Nil when the text is not valid UTF-8.
[[nodiscard]] Retained<NSString> stringOf(std::string_view text);

/// Nothing for nil, and for a date without a finite value.
[[nodiscard]] std::optional<photos::Date> secondsOf(NSDate* date);

/// Where every foreign error becomes ours: the error's localized description, or a text of ours
/// when it has none.
[[nodiscard]] photos::Error errorOf(NSError* error);

/// The same for an exception that a framework has raised.
[[nodiscard]] photos::Error errorOf(NSException* exception);

}  // namespace platform::photokit
