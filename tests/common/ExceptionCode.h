// Test helper: the code (and text) of the ClException a call raises.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "sdk/Exception.h"

// 0 when the call returns normally; otherwise the code of the ClException it
// raised, with its text in *pstrText when asked for.
template <typename TCall>
int32_t CodeOf(TCall call, std::string* pstrText = nullptr)
{
    try {
        call();
    } catch (const ClException& ex) {
        if (pstrText != nullptr)
            *pstrText = ex.GetText() != nullptr ? ex.GetText() : "";
        return ex.GetCode();
    }
    return 0;
}

// The same, for a call whose text must hold pszPart.
template <typename TCall>
int32_t CodeOf(TCall call, const char* pszPart)
{
    std::string strText;
    const int32_t nCode = CodeOf(call, &strText);
    EXPECT_NE(strText.find(pszPart), std::string::npos) << "\"" << strText << "\" lacks \"" << pszPart << "\"";
    return nCode;
}
