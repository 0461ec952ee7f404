#include <gmock/gmock.h>
