#include "App/host/AutostartOffer.h"

namespace App {

bool AutostartOffer::shouldOffer(const Facts& facts) {
    return facts.desktopSession && !facts.demo && !facts.offeredBefore && !facts.entryExists &&
           facts.installed && !facts.systemdService;
}

AutostartOffer::Answer AutostartOffer::answer(const Platform::NotificationResponse& response) {
    if (response.requestIdentifier != requestIdentifier) {
        return Answer::unrelated;
    }
    return response.actionIdentifier == Platform::dismissActionIdentifier ? Answer::decline : Answer::accept;
}

} // namespace App
