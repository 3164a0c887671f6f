#pragma once

#include "util/Export.h"
