#pragma once

#include "SFTypes.h"

namespace SF {

/// The lines of the evaluator that name a place in its source file. They are all written from that file,
/// whichever file of the evaluator finds the failure.
namespace EvaluatorReports {

void RenderNotReady(HRESULT iCode);
void PointFailed(HRESULT iCode);
void NullRoot();
void ClampingRenderFailed(HRESULT iCode);
void UnrolledRenderFailed(HRESULT iCode);
void UnrolledNullRoot();
void UnrolledNotReady(HRESULT iCode);
void NormalsNotReady(HRESULT iCode);
void AffineMappingFailed(HRESULT iCode);
void CylinderMappingFailed(HRESULT iCode);
void OffsetNotBuilt();
void NullInList();
void ListFailed(HRESULT iCode);

/// These two name no place.
void MissingOperand(SFOperand iOperand);
void GridTooLarge(char const* iCondition);

} // namespace EvaluatorReports
} // namespace SF
