#pragma once

#include "util/Cert_Error_Handling.h"
