// The library-wide object of the KR9 SDK. It holds no data: its existence
// marks the library as initialised. All device state lives per handle.
#pragma once

#include "sdk/SDKBase.h"

class ClTactiviewKR9 : public TpSDKBase<ClTactiviewKR9, ClSDKLogging>
{
public:
    ~ClTactiviewKR9() override = default;

    // "SDK: QuorvaneTactiviewKR9 Version: <version> <mark>"
    static const char* GetVersionRecord();
};
