// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ParameterNameWriter.h"
#include "dsp/framework/ProcessContext.h"
#include "support/NonBlocking.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// Every processing element of the engine: a leaf that owns parameters and renders audio, or a composite
/// that owns other modules by value.
///
/// Life: constructed; Initialize (may repeat, with a new rate and block size); blocks of UpdateParameters
/// and Process; Reset at any time between blocks; Terminate; destroyed. Set-up may throw, a block may not:
/// UpdateParameters, Process, ClearParameterChanges and the setters neither allocate nor lock. One thread
/// at a time.
class Module {
public:
    virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// sampleRate in Hz; maxBlockSize is the most frames that one block will ever have.
    virtual void Initialize(float sampleRate, u32 maxBlockSize);
    virtual void Terminate() {}
    /// A hard reset clears audio state and marks every parameter as changed; one that is not hard keeps what
    /// a parameter change may keep.
    virtual void Reset(bool hard);
    virtual bool SetParameterNormalized(u32 id, float value) ORPHIA_NONBLOCKING = 0;
    virtual float GetParameterNormalized(u32 id) ORPHIA_NONBLOCKING = 0;
    virtual void GetParameterName(u32 id, ParameterNameWriter& writer) = 0;
    virtual void OnInitialize(float sampleRate, u32 maxBlockSize) = 0;
    virtual void OnReset(bool hard) = 0;
    /// The control-rate tick, once per block before Process. False skips Process.
    virtual bool UpdateParameters(ProcessContext& context) ORPHIA_NONBLOCKING = 0;
    virtual void ClearParameterChanges(bool value) ORPHIA_NONBLOCKING;
    virtual bool Process(ProcessContext& context) ORPHIA_NONBLOCKING = 0;

    /// The module's prefix in parameter names; may be empty.
    std::string name;
    /// The most channels that the module accepts.
    u32 numInputs;
    u32 numOutputs;
    /// Set by Initialize and Reset, cleared by the parent after each Process.
    bool needsUpdate = false;

protected:
    Module(std::string moduleName, u32 inputCount, u32 outputCount);

    /// Appends the prefix of this module to a parameter name.
    void WritePrefix(ParameterNameWriter& writer) const;
};

} // namespace Velmora::dsp
