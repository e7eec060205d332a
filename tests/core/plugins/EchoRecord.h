#pragma once

#include <string>

// A plain type that the echo module and the tests both compile. Its type_info is not exported,
// so the module and the test executable each have their own: only a comparison by name finds
// them equal.
struct SEchoRecord
{
    std::string m_strTag;
    long m_nInitCount = 0;
};
