// SPDX-License-Identifier: MIT
#include "framework/ThrowIfFailed.h"

#include "framework/CVolmException.h"
#include "framework/CVolmPtr.h"
#include "framework/ErrorText.h"

void ThrowFailure(IGetVolmError* errorSource, VolmResult result, const VolmCallSite& site) {
  // Adopts the reference that the caller's QueryInterface took.
  CVolmPtr<IGetVolmError> source;
  source.Attach(errorSource);
  CVolmPtr<IVolmError> error;
  if (source) source->GetError(error.Put());
  if (error) throw CVolmException(error.Get());
  WideString text;
  ComposeErrorText(result, site.sourceFile, site.line, text);
  throw CVolmException(result, text);
}
