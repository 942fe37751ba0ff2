#include "Atrium/PendAction.h"

namespace tessel_atriumclient {

PendAction::~PendAction() = default;

void PendAction::Execute() {
  if (callback) callback(this);
}

}  // namespace tessel_atriumclient
