#pragma once

#include <cctype>
#include <string_view>

// Matches a whole text against a pattern in which "{d}" stands for one decimal digit, "{n}" for
// one or more and "{*}" for any text; everything else is literal. (std::regex does not build
// warning-free under the sanitizers with this compiler.)
inline bool MatchesPattern(std::string_view text, std::string_view pattern)
{
    if (pattern.empty())
    {
        return text.empty();
    }
    if (pattern.starts_with("{d}"))
    {
        return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) &&
               MatchesPattern(text.substr(1), pattern.substr(3));
    }
    if (pattern.starts_with("{n}"))
    {
        size_t nDigits = 0;
        while (nDigits < text.size() && std::isdigit(static_cast<unsigned char>(text[nDigits])))
        {
            ++nDigits;
        }
        for (size_t nTaken = nDigits; nTaken >= 1; --nTaken)
        {
            if (MatchesPattern(text.substr(nTaken), pattern.substr(3)))
            {
                return true;
            }
        }
        return false;
    }
    if (pattern.starts_with("{*}"))
    {
        for (size_t nTaken = 0; nTaken <= text.size(); ++nTaken)
        {
            if (MatchesPattern(text.substr(nTaken), pattern.substr(3)))
            {
                return true;
            }
        }
        return false;
    }
    return !text.empty() && text[0] == pattern[0] &&
           MatchesPattern(text.substr(1), pattern.substr(1));
}
