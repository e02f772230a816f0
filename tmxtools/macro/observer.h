#pragma once

#include "tmxtools/platform/export.h"

// Watches an engine, for debuggers. While an observer is set, the engine asks it before every
// instruction and reads its code byte after byte.
//
// Owner: the host; it outlives the engine or takes itself off with SetObserver(nullptr). Out of any
// of these calls the host may use Stop, Call (refused with 17499), PushFile, PopFile and
// ClearFiles.
class TMX_EXPORT MeMacroObserver {
 public:
  virtual ~MeMacroObserver();
  // Before an instruction: true pauses the run in front of it; Continue goes on with it.
  virtual bool ShouldBreak(unsigned short opcode) = 0;
  virtual void OnFramePushed() = 0;
  virtual void OnFramePopped() = 0;
  virtual void OnCurFrameChanged() = 0;
  virtual void OnVariablesChanged() = 0;
  virtual void OnRunFinished() = 0;
};
