#pragma once

/// Where the services of the HTTP layer are registered on the bus.
namespace connector::http {

/// Where servers send their requests: the first stage of the pipeline.
inline constexpr const char* kPipelineEntry = "connector/http/router";

/// Takes the messages of HttpManagerMessages.h.
inline constexpr const char* kServerManager = "connector/http/manager";

/// Takes HttpClientRequest.
inline constexpr const char* kHttpClient = "connector/http/client";

/// Answers requests with the files of the directories that are registered.
inline constexpr const char* kStaticContent = "connector/http/staticcontent";

/// Takes AddStaticContentPath.
inline constexpr const char* kContentManager = "connector/http/staticcontentmanager";

} // namespace connector::http
