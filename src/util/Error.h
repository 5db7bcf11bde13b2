#pragma once

#include "corvana/error.h"
