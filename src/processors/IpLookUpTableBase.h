// ClIpLookUpTableBase: maps every byte of an image through a table of 256
// values, which a derived class builds in BuildTable.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ProcessorBase.h"

class ClIpLookUpTableBase : public ClProcessorBase
{
public:
    ClIpLookUpTableBase() = default;

    bool CanProcess() override { return m_pInImage != nullptr; }
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;

    // Builds the table.
    int32_t Prepare() override;
    // Maps the input into the output (the input itself when no output is
    // set), plane by plane for colour images. Samples are read as bytes,
    // whatever the type: the table is meant for 8-bit images. No input
    // raises ZRT_ERROR_PARAM_IS_MISSING.
    int32_t Process() override;
    // Fills the table; nothing here.
    virtual void BuildTable() {}

    void SetInImage(ClImage* pImage) { m_pInImage = pImage; }
    void SetOutImage(ClImage* pImage) { m_pOutImage = pImage; }
    bool IsTableValid() const { return m_bTableValid; }
    const unsigned char* GetTable() const { return m_aTable; }

protected:
    ClImage* m_pInImage = nullptr;   // not owned
    ClImage* m_pOutImage = nullptr;  // not owned
    bool m_bTableValid = false;
    unsigned char m_aTable[256] = {};
};
