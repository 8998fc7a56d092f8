// ClIpSplitPlanes: an interleaved image into one-plane images, so that a
// one-plane operation can run over colour images plane by plane.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ProcessorBase.h"

class ClIpSplitPlanes : public ClProcessorBase
{
public:
    ClIpSplitPlanes() = default;

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpSplitPlanes"; }
    bool CanProcess() override { return m_pInImage != nullptr; }
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;

    // Each non-null plane image below the input's plane count becomes a
    // one-plane image of the input's type, size and carried values holding
    // that plane; the others are left as they are. More than 4 planes raise
    // ZRT_ERROR_PARAM_OUT_OF_RANGE; no input is ZRT_ERROR_PARAM_IS_MISSING.
    int32_t Process() override;

    // Stores the images and runs; any plane may be null.
    int32_t Run(ClImage* pInImage, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2, ClImage* pPlane3);
    using ClProcessorBase::Run;

protected:
    ClImage* m_pInImage = nullptr;                                // not owned
    ClImage* m_apOutPlanes[4] = {nullptr, nullptr, nullptr, nullptr};  // not owned
};
