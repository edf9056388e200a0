#pragma once

// The version of the libraries and of everything that is delivered with them. It is defined only
// here: the build, the packages and the version report read it from this line.
#define KELD_VERSION "10.1.1.0"
