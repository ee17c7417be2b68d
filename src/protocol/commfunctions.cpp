#include "commfunctions.h"
