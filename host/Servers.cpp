#include "host/Servers.h"

#include <utility>

#include "host/Pipeline.h"
#include "server/PocoHttpServer.h"

namespace connector::host {

Servers::Servers(std::shared_ptr<Connector> connector)
    : main_(std::make_shared<http::PocoHttpServer>(std::move(connector), 0))
{
    main_->setAddress(kPipelineEntry);
}

Servers::~Servers()
{
    main_->stop();
}

void Servers::start(const Options& options)
{
    main_->setPort(options.port.value_or(0));
    main_->start();
}

std::string Servers::describe() const
{
    return "The server \"main\" is started. HTTP: " + std::to_string(main_->getPort());
}

std::vector<std::string> Servers::origins() const
{
    return {"http://localhost:" + std::to_string(main_->getPort())};
}

} // namespace connector::host
