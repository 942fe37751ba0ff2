#include "KR/CPMediaPTHelper.h"

namespace tessel_atriumclient {

void CPMediaPTHelper::OnMessage(const char* /*data*/, uint32_t /*length*/) {}

}  // namespace tessel_atriumclient
