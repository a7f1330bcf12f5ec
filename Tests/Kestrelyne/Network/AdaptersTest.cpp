#include "Kestrelyne/Network/Adapters.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using kestrelyne::AdapterRole;
using kestrelyne::Adapters;
using kestrelyne::NetConfig;
using kestrelyne::NetEvent;
using kestrelyne::NetFinding;
using kestrelyne::NetFindings;
using netcore::NetInterface;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

NetInterface adapter(const std::string& name, std::uint32_t index, const std::string& address,
                     const std::string& displayName = "") {
    return {.name = name,
            .index = index,
            .address = address,
            .netmask = "255.255.255.0",
            .broadcast = "",
            .isPointToPoint = name.starts_with("tun"),
            .displayName = displayName.empty() ? name : displayName};
}

const auto light = adapter("eth0", 2, "10.0.0.5", "Licht"), office = adapter("eth1", 3, "192.168.1.5", "Büro"),
           tunnel = adapter("tun0", 4, "100.64.0.1");

std::vector<std::string> names(const Adapters::List& list) {
    std::vector<std::string> all;
    for (const auto& interface : list) all.push_back(interface.name);
    return all;
}

NetConfig rolesOf(std::map<std::string, std::string> roles) {
    NetConfig config;
    config.interfaceRoles = std::move(roles);
    return config;
}

TEST(Adapters, WithoutAChoiceAllButTunnelsAreInUse) {
    Adapters adapters;
    adapters.set({light, office, tunnel});
    NetConfig config;
    EXPECT_THAT(names(adapters.active(config)), ElementsAre("eth0", "eth1"));
    config.interfaces = {"tun0", "eth1", "eth9"};
    EXPECT_THAT(names(adapters.active(config)), ElementsAre("eth1", "tun0"));
}

TEST(Adapters, AWrongTaskNeverSilencesAService) {
    struct Row {
        std::map<std::string, std::string> roles;
        AdapterRole asked;
        std::vector<std::string> expected;
    };
    Adapters adapters;
    adapters.set({light, office, tunnel});
    for (const auto& [roles, asked, expected] : std::initializer_list<Row>{
             {{}, AdapterRole::lighting, {"eth0", "eth1"}},
             {{{"eth0", "Switche / Management"}}, AdapterRole::lighting, {"eth1"}},
             {{{"eth0", "Switche / Management"}, {"eth1", "Alles"}}, AdapterRole::lighting, {"eth1"}},
             {{{"eth0", "Strom (Messgeräte, USV)"}, {"eth1", "Strom (Messgeräte, USV)"}}, AdapterRole::lighting, {"eth0", "eth1"}},
             {{{"eth0", "Licht (Art-Net, sACN, MA-Net, RDM)"}, {"eth1", "Strom (Messgeräte, USV)"}},
              AdapterRole::audio,
              {"eth0", "eth1"}},
             {{{"eth0", "Licht (Art-Net, sACN, MA-Net, RDM)"}, {"eth1", "Audio / Video (Dante, AES67, NDI)"}},
              AdapterRole::audio,
              {"eth1"}},
             {{{"eth0", "Beleuchtung"}, {"eth1", "Strom (Messgeräte, USV)"}}, AdapterRole::lighting, {"eth0"}}})
        EXPECT_EQ(names(adapters.forRole(asked, rolesOf(roles))), expected)
            << text(asked) << " of " << testing::PrintToString(roles);
}

TEST(Adapters, TheOnlyAdapterServesEvenWithAnotherTask) {
    Adapters adapters;
    adapters.set({light});
    EXPECT_THAT(names(adapters.forRole(AdapterRole::lighting, rolesOf({{"eth0", "Strom (Messgeräte, USV)"}}))),
                ElementsAre("eth0"));
}

TEST(Adapters, AnUnknownTaskIsEveryTask) {
    EXPECT_EQ(Adapters::roleOf(light, rolesOf({{"eth0", "Bühne"}})), AdapterRole::all);
    EXPECT_EQ(Adapters::roleOf(light, rolesOf({{"eth1", "Switche / Management"}})), AdapterRole::all);
    EXPECT_EQ(Adapters::roleOf(office, rolesOf({{"eth1", "Switche / Management"}})), AdapterRole::management);
}

TEST(Adapters, TheUsersLabelGoesBeforeTheName) {
    NetConfig config;
    EXPECT_EQ(Adapters::labelOf(light, config), "Licht");
    config.interfaceLabels = {{"eth0", "FOH"}, {"eth1", ""}};
    EXPECT_EQ(Adapters::labelOf(light, config), "FOH");
    EXPECT_EQ(Adapters::labelOf(office, config), "Büro");
}

TEST(Adapters, AreNamedByIndexAndByAddress) {
    Adapters adapters;
    adapters.set({light, adapter("eth0", 2, "10.0.9.5", "Licht"), office});
    EXPECT_EQ(adapters.nameOf(2), "Licht (10.0.0.0/24)");
    EXPECT_EQ(adapters.nameOf(3), "Büro (192.168.1.0/24)");
    EXPECT_EQ(adapters.nameOf(0), "–");
    EXPECT_EQ(adapters.nameOf(9), "–");
    EXPECT_EQ(adapters.nameFor("10.0.9.77"), "Licht (10.0.9.0/24)");
    EXPECT_EQ(adapters.nameFor("192.168.1.200"), "Büro (192.168.1.0/24)");
    EXPECT_EQ(adapters.nameFor("8.8.8.8"), "geroutet");
    EXPECT_EQ(adapters.nameFor("kein IP"), "geroutet");
    EXPECT_THAT(adapters.ownAddresses(), ElementsAre("10.0.0.5", "10.0.9.5", "192.168.1.5"));
}

TEST(Adapters, TellWhatCameAndWhatWent) {
    Adapters adapters;
    adapters.set({light, office});
    const auto change = adapters.update({light, tunnel, adapter("eth2", 7, "172.16.0.9", "Ton")}, {});
    EXPECT_EQ(change.findings, (NetFindings{{NetEvent::Level::info, "Adapter verfügbar: tun0 100.64.0.1 (100.64.0.0/24)"},
                                            {NetEvent::Level::info, "Adapter verfügbar: Ton 172.16.0.9 (172.16.0.0/24)"},
                                            {NetEvent::Level::warning, "Adapter weg: Büro 192.168.1.5"}}));
    for (const auto& finding : change.findings) EXPECT_EQ(finding.source, "Netzwerk");
    EXPECT_TRUE(change.activeChanged);
    EXPECT_THAT(names(*adapters.interfaces()), ElementsAre("eth0", "tun0", "eth2"));
}

TEST(Adapters, ASecondAddressIsAnAdapterOfItsOwn) {
    Adapters adapters;
    adapters.set({light});
    const auto change = adapters.update({light, adapter("eth0", 2, "10.0.9.5", "Licht")}, {});
    EXPECT_EQ(change.findings, (NetFindings{{NetEvent::Level::info, "Adapter verfügbar: Licht 10.0.9.5 (10.0.9.0/24)"}}));
    EXPECT_TRUE(change.activeChanged);
}

TEST(Adapters, AnAdapterThatIsNotInUseChangesNoActiveOne) {
    Adapters adapters;
    adapters.set({light});
    NetConfig config;
    config.interfaces = {"eth0"};
    auto change = adapters.update({light, office}, config);
    EXPECT_EQ(change.findings.size(), 1u);
    EXPECT_FALSE(change.activeChanged);
    change = adapters.update({light}, config);
    EXPECT_EQ(change.findings.size(), 1u);
    EXPECT_FALSE(change.activeChanged);
    change = adapters.update({light, tunnel}, {});
    EXPECT_FALSE(change.activeChanged);
}

TEST(Adapters, TheSameAdaptersAreNoNews) {
    Adapters adapters;
    adapters.set({light, office});
    int told = 0;
    const auto subscription = adapters.interfaces().observe([&told] { ++told; });
    auto change = adapters.update({office, light}, {});
    EXPECT_THAT(change.findings, IsEmpty());
    EXPECT_FALSE(change.activeChanged);
    EXPECT_EQ(told, 0);
    change = adapters.update({}, {});
    EXPECT_EQ(change.findings.size(), 2u);
    EXPECT_TRUE(change.activeChanged);
    EXPECT_EQ(told, 1);
}

}  // namespace
