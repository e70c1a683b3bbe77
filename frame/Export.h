// Which symbols of a generated library are seen from outside.
#pragma once

#define TDL_EXPORT __attribute__((visibility("default")))
