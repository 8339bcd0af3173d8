# The headers that are installed; every other one is private. tools/check_includes.py reads this list
# and holds that these include nothing private.
set(CONNECTOR_PUBLIC_HEADERS
    application/Application.h
    application/ProviderModule.h
    client/ClientLimits.h
    client/PocoHttpClientServiceProvider.h
    contract/common/Blocking.h
    contract/common/Export.h
    contract/common/Failure.h
    contract/common/Log.h
    contract/common/ManualTick.h
    contract/common/MemoryBudget.h
    contract/common/ProcessorSlots.h
    contract/common/RandomString.h
    contract/common/Snapshot.h
    contract/common/Text.h
    contract/common/Tick.h
    contract/common/TickManager.h
    contract/http/Addresses.h
    contract/http/HttpClientMessages.h
    contract/http/HttpError.h
    contract/http/HttpManagerMessages.h
    contract/http/HttpManagerServiceProvider.h
    contract/http/HttpRequest.h
    contract/http/HttpResponse.h
    contract/http/HttpRouter.h
    contract/http/HttpServer.h
    contract/http/HttpServiceProvider.h
    contract/http/HttpSessionManager.h
    contract/http/HttpTypes.h
    contract/http/JsonBody.h
    contract/http/LifecycleEvent.h
    contract/http/MakeHttpResponse.h
    contract/http/PathStartsWith.h
    contract/http/ReadRequest.h
    contract/http/RestServiceProvider.h
    contract/http/RoutePrefix.h
    contract/http/StaticContentMessages.h
    contract/http/WebSocket.h
    contract/messaging/Address.h
    contract/messaging/BusTable.h
    contract/messaging/Connector.h
    contract/messaging/Context.h
    contract/messaging/Future.h
    contract/messaging/FutureState.h
    contract/messaging/LocalConnector.h
    contract/messaging/Message.h
    contract/messaging/MessageAPI.h
    contract/messaging/Promise.h
    contract/messaging/Reply.h
    contract/messaging/ServiceProvider.h
    contract/messaging/ServiceProviderAPI.h
    contract/platform/Administration.h
    contract/platform/Configuration.h
    contract/platform/JsonReading.h
    contract/platform/JsonSerialization.h
    contract/platform/JsonSerializer.h
    contract/platform/LayeredConfiguration.h
    contract/streams/CachedValuePublisher.h
    contract/streams/CachedValueSubscription.h
    contract/streams/CallbackSubscriber.h
    contract/streams/CopyPublisherToStream.h
    contract/streams/DataBuffer.h
    contract/streams/Demand.h
    contract/streams/OneShotPublisher.h
    contract/streams/ReducingSubscriber.h
    contract/streams/Streams.h
    contract/streams/TransformProcessor.h
    contract/streams/TypedCanceller.h
    pipeline/DefaultPipeline.h
    pipeline/HttpConstantServiceProvider.h
    pipeline/HttpSessionManagerImpl.h
    pipeline/ProxyLimits.h
    plugin/PluginInfo.h
    server/PocoHttpServer.h
    server/ServerLimits.h
    server/tls/PocoHttpsServer.h)

# Users write <connector/http/HttpRequest.h> for contract/http/HttpRequest.h, and
# <connector/server/PocoHttpServer.h> for server/PocoHttpServer.h. Includes in this repository are
# paths from its root, so each configure run makes copies of the public headers with the paths of
# users. Programs that take the repository as a subdirectory compile with the copies, and the copies
# are what is installed.
include(GNUInstallDirs)
set(CONNECTOR_PUBLIC_COPIES "") # "connector/http/HttpRequest.h"
set(CONNECTOR_PUBLIC_INCLUDE_DIR "${PROJECT_BINARY_DIR}/include")

file(GLOB_RECURSE outdated RELATIVE "${CONNECTOR_PUBLIC_INCLUDE_DIR}"
    "${CONNECTOR_PUBLIC_INCLUDE_DIR}/*.h")
foreach(header IN LISTS CONNECTOR_PUBLIC_HEADERS)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
    file(READ "${PROJECT_SOURCE_DIR}/${header}" text)
    string(REGEX REPLACE "#include \"(contract/)?([^\"]+)\"" "#include \"connector/\\2\"" text "${text}")
    string(REPLACE "connector/contract/" "connector/" copy "connector/${header}")
    file(CONFIGURE OUTPUT "${CONNECTOR_PUBLIC_INCLUDE_DIR}/${copy}" CONTENT "@text@" @ONLY)
    list(APPEND CONNECTOR_PUBLIC_COPIES "${copy}")
endforeach()

list(REMOVE_ITEM outdated ${CONNECTOR_PUBLIC_COPIES})
foreach(copy IN LISTS outdated)
    file(REMOVE "${CONNECTOR_PUBLIC_INCLUDE_DIR}/${copy}")
endforeach()
