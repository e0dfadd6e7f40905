#include <gtest/gtest.h>
#include <kivcore/kivcore.h>
