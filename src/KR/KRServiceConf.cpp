#include "KR/KRServiceConf.h"

namespace tessel_atriumclient {
namespace {
KRServiceConf* g_instance = nullptr;
}

KRServiceConf* KRServiceConf::GetInstance() {
  if (!g_instance) g_instance = new KRServiceConf();
  return g_instance;
}

void KRServiceConf::Destroy() {
  KRServiceConf* instance = g_instance;
  g_instance = nullptr;
  delete instance;
}

int32_t KRServiceConf::ShareScreen(const AtriumJsReq&, AtriumJsRes&) { return 0; }

}  // namespace tessel_atriumclient
