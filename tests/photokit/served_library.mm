// Makes the helper's own main() serve the small library.
#include "tests/photokit/requests.h"
#include "tests/photokit/stand_in.h"

namespace {

[[maybe_unused]] const auto& served = stand_in::serve(tests::smallLibrary());

}  // namespace
