#include "KR/KRServicePT.h"

namespace tessel_atriumclient {
namespace {
KRServicePT* g_instance = nullptr;
}

KRServicePT* KRServicePT::GetInstance() {
  if (!g_instance) g_instance = new KRServicePT();
  return g_instance;
}

void KRServicePT::Destroy() {
  KRServicePT* instance = g_instance;
  g_instance = nullptr;
  delete instance;
}

void KRServicePT::Unpair() {
  KRPairHandler& pair = service_->pair;
  const int32_t state = pair.GetPairState();
  if (state >= kPairRequesting && state <= kPairRequestingByRoomJid) pair.Cancel();
  pair.UnPair();
}

void KRServicePT::OnPairResult(const Kit::CStringW& requestId, uint64_t,
                               const tesselus::KRCPairAnswer& answer) {
  service_->pair.OnPairRequestResult(requestId, answer);
}

}  // namespace tessel_atriumclient
