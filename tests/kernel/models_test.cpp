#include "online.h"

// The models that the product knows, six at a time in the ports of a hub: each is asked as on pseudo terminals, and
// goes online in its way.

namespace models_test {

const Script asked = {"asked", "for port in 2 3 4 5 6 7; do\n"
                               "    echo bus 1-1.$port; modemctl 1-1.$port signal; modemctl 1-1.$port iccid; echo\n"
                               "    modemctl 1-1.$port sim-status; echo\n"
                               "done"};

Lines six_online(const Lines &models)
{
    Lines options = with_online_files(in_hub(models));
    options.insert(options.end(), {"--link", "apn=internet"});
    return options;
}

// The handlers for Sierra and SIMCom are those of QMI where the kernel's driver is that of QMI.
struct OldModels {
    static Lines options() { return six_online({"EC20", "EC25", "EP06", "UC20", "MC7430", "SIMCOM7600"}); }
    static std::vector<Script> scripts()
    {
        return {asked,
                {"online",
                 online_functions + std::string("online 1-1.2 qmi 4 internet; online 1-1.3 serial 3 internet\n"
                                                "online 1-1.4 qmi 4 internet; online 1-1.5 serial 3 internet\n"
                                                "online 1-1.6 serial 3 internet; online 1-1.7 serial 3 internet")}};
    }
};

// Some of these are no modems to Debian's kernel, until their ids are written into its driver's file.
struct NewModels {
    static Lines options() { return six_online({"ME3630", "EC200T", "BG95", "EG91", "EC100Y", "NL678E"}); }
    static std::vector<Script> scripts()
    {
        return {
            asked,
            {"online", online_functions + std::string("online 1-1.2 serial 2 internet; online 1-1.3 serial 4 internet\n"
                                                      "online 1-1.4 serial 2 internet; online 1-1.5 qmi 4 internet\n"
                                                      "online 1-1.6 serial 1 internet; online 1-1.7 qmi 4 internet")}};
    }
};

/// The same commands to the same modems on pseudo terminals.
void expect_same_on_terminals(const Lines &options, const Walk &walk)
{
    const Walk terminals(options, {asked});
    ASSERT_EQ(terminals.run().status, 0) << terminals.run().err;
    EXPECT_NE(terminals.of("asked").find("READY"), std::string::npos);
    EXPECT_EQ(walk.of("asked"), terminals.of("asked"));
}

using KernelOldModels = OnKernelWithClients<OldModels>;
using KernelNewModels = OnKernelWithClients<NewModels>;

TEST_F(KernelOldModels, AnswerAsOnPseudoTerminals)
{
    expect_same_on_terminals(OldModels::options(), walk());
}

TEST_F(KernelOldModels, GoOnlineEachInItsWay)
{
    EXPECT_EQ(walk().of("online"),
              was_online("1-1.2", "qmi", "10.64.1.2") + was_online("1-1.3", "3g", "10.64.2.2") +
                  was_online("1-1.4", "qmi", "10.64.3.2") + was_online("1-1.5", "3g", "10.64.4.2") +
                  was_online("1-1.6", "qmi", "10.64.5.2") + was_online("1-1.7", "qmi", "10.64.6.2"));
}

TEST_F(KernelNewModels, AnswerAsOnPseudoTerminals)
{
    expect_same_on_terminals(NewModels::options(), walk());
}

TEST_F(KernelNewModels, GoOnlineEachInItsWay)
{
    EXPECT_EQ(walk().of("online"),
              was_online("1-1.2", "ncm", "10.64.1.2") + was_online("1-1.3", "ncm", "10.64.2.2") +
                  was_online("1-1.4", "3g", "10.64.3.2") + was_online("1-1.5", "qmi", "10.64.4.2") +
                  was_online("1-1.6", "3g", "10.64.5.2") + was_online("1-1.7", "qmi", "10.64.6.2"));
}

} // namespace models_test
