#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/Connector.h"
#include "contract/messaging/Message.h"
#include "contract/platform/Administration.h"

namespace connector::http {

/// Offers the server manager to the administration console, while it lives:
///
/// | command                                | what it does and returns                            |
/// |----------------------------------------|-----------------------------------------------------|
/// | "connector.http.listServers"           | the names of all servers, one a line                |
/// | "connector.http.defaultServers"        | creates and starts "main" (HTTP, port 31415) and    |
/// |                                        | "secure" (HTTPS, port 31515), and tells their ports |
/// | "connector.http.listNetworkInterfaces" | `listNetworkInterfaces()`                           |
///
/// A reply of an unexpected type gives the text "Failure to convert the response message!". A
/// manager's failure leaves the command as its exception. A command waits for each reply, so it
/// blocks as long as the manager's handlers do.
class CONNECTOR_API HttpCommandProvider
{
public:
    /// @param manager the address of the server manager.
    /// @throws std::invalid_argument "Command already exists: " + name; none is registered then.
    HttpCommandProvider(std::shared_ptr<Connector> connector,
                        std::shared_ptr<administration::Administration> administration,
                        const Address& manager);

    /// Removes the commands. One that runs meanwhile goes on.
    ~HttpCommandProvider();

    HttpCommandProvider(const HttpCommandProvider&) = delete;
    HttpCommandProvider& operator=(const HttpCommandProvider&) = delete;

private:
    /// The public constructor delegates to it: the destructor then runs if a command is refused.
    explicit HttpCommandProvider(std::shared_ptr<administration::Administration> administration);

    void addCommand(std::string name, const std::string& description,
                    administration::Administration::Function function);

    const std::shared_ptr<administration::Administration> administration_;
    std::vector<std::string> registered_; ///< Names of the commands added here.
};

} // namespace connector::http
