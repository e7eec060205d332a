#pragma once

#include <functional>
#include <optional>
#include <string>

namespace DocViewTest
{

// The texts a host exception (Zarn::CException or a type derived from it) is expected to carry;
// an unset text is not checked.
struct SHostExceptionTexts
{
    std::optional<std::string> m_strFunction;
    std::optional<std::string> m_strWhat;
    std::optional<std::string> m_strInstance;
};

// Runs `call` and adds a GoogleTest failure unless it throws a Zarn::CException whose texts are
// the ones given. Any other exception propagates to the test. Call on the test's thread.
void ExpectHostException(const std::function<void()>& call, const SHostExceptionTexts& texts);

// Runs `call` and adds a GoogleTest failure unless it throws a Zarn::CException whose function
// text starts with `functionPrefix` (a wrapped error names its operation first). Any other
// exception propagates to the test. Call on the test's thread.
void ExpectHostExceptionFrom(const std::function<void()>& call, const std::string& functionPrefix);

} // namespace DocViewTest
