#include "ServiceTest.h"
