#include "common/remoting/remote_interfaces.h"

#include "common/remoting/data_stream_proxy.h"
#include "common/remoting/interface_descriptions.h"
#include "vek/core/never_destroyed.h"

namespace plugins::remoting {

std::shared_ptr<const vek::remoting::ProxyStubFactories> RemoteInterfaces() {
    using namespace plugins::mail_processing;
    using vek::remoting::FactoryOf;
    struct Process {
        std::shared_ptr<const vek::remoting::ProxyStubFactories> factories =
            std::make_shared<const vek::remoting::ProxyStubFactories>(
                std::vector<const vek::remoting::ProxyStubFactory*>{
                    FactoryOf<vek::IServiceLocator>(), FactoryOf<IMailScanner>(),
                    FactoryOf<IMailMessage>(), FactoryOf<IPropertyProvider>(),
                    FactoryOf<IAttachmentsEnum>(), FactoryOf<IDataStream, DataStreamProxy>(),
                    FactoryOf<product::IProductSettings>(), FactoryOf<product::ILocalization>(),
                    FactoryOf<product::ISettingsWindow>(), FactoryOf<product::IUserLanguage>()});
    };
    static vek::NeverDestroyed<Process> process;
    return (*process).factories;
}

}  // namespace plugins::remoting
