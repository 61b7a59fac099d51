// What the handlers rely on, whatever is behind the seam. A backend's tests instantiate this suite
// with a way to make a platform of a described library, and build with platform_contract.cpp:
//
//   INSTANTIATE_TEST_SUITE_P(Local, PlatformContract, testing::Values(makeLocalPlatform));
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "photos/platform.h"
#include "tests/described_library.h"

namespace tests {

using MakePlatform = std::shared_ptr<photos::Platform> (*)(const DescribedLibrary&);

class PlatformContract : public testing::TestWithParam<MakePlatform> {};

}  // namespace tests
