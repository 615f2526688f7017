#include "quro_utf.h"
