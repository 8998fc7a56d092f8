// Image processors: the pixel-type check in the run sequence, and the base of
// processors that turn one image into one image of the same shape, either
// pixel by pixel through TransformPixel or by a whole-image routine.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ImageDataTypeCheck.h"
#include "params/ProcessorBase.h"

namespace NewIpBase {

class ClIpProcessorBase : public ClProcessorBase, private ClImageDataTypeCheck
{
public:
    // True when CheckInputType accepts the inputs; its refusal is not passed on.
    bool CanProcess() override;
    // Refuses inputs that CheckInputType does not accept, by its exception.
    int32_t Prepare() override;

protected:
    using ClImageDataTypeCheck::AddSupportedType;
    using ClImageDataTypeCheck::AddSupportedTypes;
    using ClImageDataTypeCheck::CheckType;
    using ClImageDataTypeCheck::IsSupportedType;
};

class ClIp1to1Base : public ClIpProcessorBase
{
public:
    ClIp1to1Base() = default;

    // The two images, "InImage" and "OutImage".
    void DescribeParameters(ClParameterInterface& list) override;
    // "pInImage" and "pOutImage", bound to the image members as pointers.
    void RegisterParameters(ClParameterContainer& container) override;
    // Shapes the output and runs ProcessImage. Unless the processor works in
    // place, an input that is also the output goes through a local image.
    int32_t Process() override;

    // Transforms in into out pixel by pixel through TransformPixel; out has
    // the shape and type of in. Unknown pixel types give ZRT_ERROR_INTERNAL.
    virtual int32_t ProcessImage(ClImage& in, ClImage& out);
    // Makes out an image of the geometry and pixel type of the input.
    virtual void PrepareOutput(ClImage& out);
    // The function of one pixel value. 0.0 here: a processor that works pixel
    // by pixel overrides it, one with a routine of its own overrides ProcessImage.
    virtual double TransformPixel(const ClImage& in, const ClImage& out, double dValue) const;
    // Applies the 256 values of TransformPixel for 8-bit pixels to every
    // sample of in (one image of bytes, either may have no samples), one row
    // after the other. Here by a look-up per sample; a processor whose table
    // has a faster form may apply it so.
    virtual void ApplyByteTable(const uint8_t* pTable, const ClImage& in, ClImage& out);

    // Stores both images and runs.
    int32_t Run(ClImage* pInImage, ClImage* pOutImage);
    using ClProcessorBase::Run;

    void SetInImage(ClImage* pImage) { m_pInImage = pImage; }
    void SetOutImage(ClImage* pImage) { m_pOutImage = pImage; }
    ClImage* GetInImage() const { return m_pInImage; }
    ClImage* GetOutImage() const { return m_pOutImage; }

protected:
    // "Input image not assigned" (ZRT_ERROR_BAD_POINTER) without an input; else its type
    // must be accepted.
    void CheckInputType() override;

    ClImage* m_pInImage = nullptr;   // not owned
    ClImage* m_pOutImage = nullptr;  // not owned
    // ProcessImage may be given the same object as input and output.
    bool m_bInPlace = false;
    // 8-bit unsigned pixels go through a table of 256 transformed values.
    bool m_bUseLookUpTable = true;

private:
    template <typename TSample>
    int32_t TransformRows(const ClImage& in, ClImage& out);
    int32_t TransformByTable(const ClImage& in, ClImage& out);
};

}  // namespace NewIpBase
