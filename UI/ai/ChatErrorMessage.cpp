#include "UI/ai/ChatErrorMessage.h"

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Intelligence/RAGPipeline.h"
#include "Support/Errors.h"
#include "UI/ai/ModelNotReadyError.h"

namespace UI {

namespace {
using Reason = Intelligence::AIService::GenerationUnavailableReason;

std::string forReason(const Reason& reason, const std::string& ownDescription) {
    switch (reason.kind) {
    case Reason::Kind::modelNotDownloaded:
        return ChatErrorMessage::modelFailedToLoad;
    default:
        return ownDescription;
    }
}
} // namespace

std::string ChatErrorMessage::text(const std::exception_ptr& error) {
    if (!error) {
        return "";
    }
    try {
        std::rethrow_exception(error);
    } catch (const Intelligence::RetrievalError& e) {
        return e.kind() == Intelligence::RetrievalError::Kind::noMatches ? noMatches : notReady;
    } catch (const Intelligence::AnswerWritingError&) {
        return writingFailed;
    } catch (const ModelNotReadyError& e) {
        return forReason(e.reason(), e.description());
    } catch (const Intelligence::AIService::GenerationUnavailable& e) {
        return forReason(e.reason(), ModelNotReadyError(e.reason()).description());
    } catch (const Database::DatabaseError&) {
        return databaseFailed;
    } catch (const Support::UserFacingError& e) {
        return e.description();
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "Something went wrong.";
    }
}

} // namespace UI
