// Where GNUstep's headers look for the runtime of blocks.
#pragma once

#include <Block.h>
