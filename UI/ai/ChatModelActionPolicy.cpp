#include "UI/ai/ChatModelActionPolicy.h"

namespace UI {

std::optional<ChatModelActionPolicy::Offer>
ChatModelActionPolicy::inlineFallbackDownload(const Presentation& presentation,
                                              const Intelligence::ModelRegistry::Model& model) {
    if (presentation.systemModelCanServeChat || presentation.fallbackInstalled) {
        return std::nullopt;
    }
    return Offer{"Vellmora uses Apple On-Device AI automatically when available. Download Fallback (" +
                     model.displayName + ", about " +
                     Intelligence::ModelRegistry::formattedSize(model.sizeGB) +
                     ") only when needed to keep chat entirely on this Mac.",
                 "Download Fallback"};
}

} // namespace UI
