#pragma once
// What a piece of product code prints on standard output.
#include <gtest/gtest.h>
#include <string>

#include "base/output.h"

template <class Action> std::string captured_output(Action action)
{
    flush_output();
    testing::internal::CaptureStdout();
    action();
    flush_output();
    return testing::internal::GetCapturedStdout();
}
