// The conversion of Evolution Data Server's event components on any bytes read as a VEVENT (what a CalDAV
// server or an invitation can put into a user's calendar): an event or nothing, never a crash.
#include "Platform/Linux/EdsEventConversion.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static ICalTimezone* zone = i_cal_timezone_get_builtin_timezone("Europe/Berlin");
    std::string text(reinterpret_cast<const char*>(data), size);
    ICalComponent* component = i_cal_component_new_from_string(text.c_str());
    if (!component) {
        return 0;
    }
    ICalTime* start = i_cal_component_get_dtstart(component);
    ICalTime* end = i_cal_component_get_dtend(component);
    Platform::EdsEventConversion conversion{"fuzz", {"me@example.com"}, zone};
    (void)conversion.event(component, start, end);
    g_clear_object(&start);
    g_clear_object(&end);
    g_object_unref(component);
    return 0;
}
