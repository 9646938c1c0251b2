// Zubra: the umbrella header. Includes every public class of the library.
#pragma once

#include <zubra/platform/util/configuration_section.h>
#include <zubra/platform/util/exception.h>
