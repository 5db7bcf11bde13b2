#include "corvana/Corvana.hpp"
#include "storage/UIDeviceAdditionalInfo.h"

namespace corvana {

std::string Corvana::getDeviceId() const { return UIDeviceAdditionalInfo::sharedInstance().installIdentifier(); }

}  // namespace corvana
