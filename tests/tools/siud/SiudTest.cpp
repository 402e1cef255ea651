#include "SiudHarness.h"

#include <cstdlib>

using namespace siudtest;

namespace {

const json kOpen = {{"auxiliaries", {{"safeDoor", "open"}}}};
const json kLocked = {{"auxiliaries", {{"safeDoor", "locked"}}}};

}  // namespace

TEST(SiudService, PublisherListsTheServiceAndTheServiceAnswersStatusAndCapabilitiesFromTheBoard) {
    Bench b;
    Siud d(b);
    auto pub = d.client(d.origin);
    const json services = run(*pub, "ServicePublisher.GetServices");
    EXPECT_EQ("Norva", services["vendorName"]);
    EXPECT_EQ(json::array({{{"serviceURI", d.url()}}}), services["services"]);
    run(*pub, "Common.Status", {}, "unsupportedCommand");

    auto c = d.client();
    const json status = run(*c, "Common.Status");
    EXPECT_EQ("online", status["common"]["device"]);
    // the example board at rest: doors closed, the safe locked, mains present
    EXPECT_EQ((json{{"safeDoor", "locked"}, {"cabinetDoor", "closed"}, {"cabinetFrontDoor", "closed"},
                    {"cabinetRearDoor", "closed"}, {"operatorSwitch", "run"}, {"tamperSensor", "off"},
                    {"seismicSensor", "off"}, {"heatSensor", "off"},
                    {"proximitySensor", "notPresent"}, {"audibleAlarm", "off"}}),
              status["auxiliaries"]);
    EXPECT_EQ((json{{"default", {{"flashRate", "off"}, {"color", "green"}}}}),
              status["lights"]["statusGood"]);
    // items without an XFS4IoT field, under the board's own section
    EXPECT_EQ("AT_POSITION", status["norvaBoard"]["POS_CASH_DISPENSER"]);
    EXPECT_EQ("LOCKED", status["norvaBoard"]["ELETRONIC_KEY"]);
    EXPECT_EQ("ON", status["norvaBoard"]["SENSOR_CASSETTE_A"]);
    EXPECT_FALSE(status["norvaBoard"].contains("DOOR_SAFE_BOX"));

    const json caps = run(*c, "Common.Capabilities");
    EXPECT_EQ("ZT-SIM 2.14",
              caps["common"]["deviceInformation"][0]["firmware"][0]["firmwareVersion"]);
    EXPECT_EQ((json{{"closed", true}, {"open", true}, {"locked", true}}),
              caps["auxiliaries"]["safeDoor"]);
    EXPECT_EQ(true, caps["auxiliaries"]["audibleAlarm"]);
    EXPECT_EQ(6u, caps["lights"].size());
    EXPECT_TRUE(caps["lights"]["statusBad"]["default"]["color"]["red"]);
    std::string commands;
    for (const json& i : caps["interfaces"])
        for (const auto& [name, v] : i["commands"].items()) commands += name + " ";
    EXPECT_EQ("Common.Capabilities Common.Status Auxiliaries.Register Auxiliaries.SetAuxiliaries "
              "Lights.SetLight ",
              commands);
    b.sim({"set-flag", "S", "1", "1", "1"});
    EXPECT_EQ("open", run(*c, "Common.Status")["auxiliaries"]["safeDoor"]);
}

TEST(SiudService, EachCommandIsAcknowledgedThenCompletedOnceWithItsCodeAndTheBoardFollows) {
    struct Case {
        const char* name;
        json payload;
        const char* code;
        const char* outputs;  // the simulator's outputs afterwards
    };
    const Case cases[] = {
        {"Lights.SetLight", {{"statusGood", {{"default", {{"flashRate", "slow"}}}}}}, "success",
         "leds=000200 buzzer=0"},
        {"Lights.SetLight",
         {{"statusBad", {{"default", {{"flashRate", "continuous"}}}}},
          {"cardReader", {{"default", {{"flashRate", "quick"}}}}}},
         "success", "leds=200210 buzzer=0"},
        {"Lights.SetLight", {{"statusGood", {{"default", {{"flashRate", "off"}}}}}}, "success",
         "leds=200010 buzzer=0"},
        {"Auxiliaries.SetAuxiliaries", {{"audibleAlarm", "on"}}, "success", "leds=200010 buzzer=1"},
        {"Auxiliaries.SetAuxiliaries", {{"audibleAlarm", "off"}}, "success", "leds=200010 buzzer=0"},
        // refusals change nothing
        {"Lights.SetLight", {{"statusGood", {{"default", {{"flashRate", "fast"}}}}}}, "invalidData",
         "leds=200010 buzzer=0"},
        {"Lights.SetLight", {{"fasciaLight", {{"left", {{"flashRate", "slow"}}}}}},
         "unsupportedData", "leds=200010 buzzer=0"},
        {"Lights.SetLight", json::object(), "invalidData", "leds=200010 buzzer=0"},
        {"Auxiliaries.SetAuxiliaries", {{"safeDoor", "open"}}, "unsupportedData",
         "leds=200010 buzzer=0"},
        {"Auxiliaries.SetAuxiliaries", {{"audibleAlarm", 1}}, "invalidData", "leds=200010 buzzer=0"},
        {"Auxiliaries.Register", {{"safeDoor", "yes"}}, "invalidData", "leds=200010 buzzer=0"},
        {"Auxiliaries.Register", {{"noSuchField", "register"}}, "invalidData",
         "leds=200010 buzzer=0"},
        {"CardReader.ReadRawData", json::object(), "unsupportedCommand", "leds=200010 buzzer=0"},
    };
    Bench b;
    Siud d(b);
    auto c = d.client();
    for (const Case& k : cases) {
        run(*c, k.name, k.payload, k.code);
        const std::string out = b.sim({"outputs"});  // OK leds=<20 digits> buzzer=<0-2> ...
        EXPECT_EQ(k.outputs, out.substr(3, 11) + out.substr(out.find(" buzzer"), 9))
            << k.name << " " << k.payload;
    }
    c->drain(100ms);
    // nothing but events besides the pairs already taken
    while (const auto m = c->receive(0ms))
        EXPECT_EQ("unsolicited", json::parse(*m)["header"]["type"]) << *m;
    EXPECT_EQ((json{{"default", {{"flashRate", "continuous"}, {"color", "red"}}}}),
              run(*c, "Common.Status")["lights"]["statusBad"]);
}

TEST(SiudEvents, ADoorOpenedOnTheBoardReachesEachRegisteredClientOnceUntilItDeregisters) {
    Bench b;
    Siud d(b);
    auto first = d.client(), second = d.client(), bystander = d.client();
    for (Client* c : {first.get(), second.get()}) {
        const json reg = run(*c, "Auxiliaries.Register", {{"safeDoor", "register"}});
        EXPECT_EQ("register", reg["safeDoor"]);
        EXPECT_EQ("deregister", reg["heatSensor"]);
    }
    b.sim({"set-flag", "S", "1", "1", "1"});
    EXPECT_EQ(kOpen, event(*first));
    EXPECT_EQ(kOpen, event(*second));
    EXPECT_FALSE(event(*first, 300ms)) << "one change, one event";
    EXPECT_FALSE(event(*bystander, 0ms));

    run(*second, "Auxiliaries.Register", {{"safeDoor", "deregister"}});
    b.sim({"set-flag", "S", "1", "1", "0"});
    EXPECT_EQ(kLocked, event(*first));
    EXPECT_FALSE(event(*second, 300ms));
    // a change of a field nobody registered for reaches nobody
    b.sim({"set-flag", "S", "10", "1", "1"});
    EXPECT_FALSE(event(*first, 300ms));
}

TEST(SiudEvents, TheBoardFallingSilentOrItsLineLostIsOfflineOnceAndBackIsOnline) {
    Bench b;
    Siud d(b);
    auto c = d.client();
    run(*c, "Common.Status");
    b.sim({"fault", "silent", "100000"});
    EXPECT_EQ((json{{"common", {{"device", "offline"}}}}), event(*c, 5s, "common"));
    EXPECT_EQ((json{{"common", {{"device", "offline"}}}}), run(*c, "Common.Status"));
    EXPECT_FALSE(event(*c, 500ms, "common")) << "offline is told once";
    b.sim({"fault", "none"});
    EXPECT_EQ((json{{"common", {{"device", "online"}}}}), event(*c, 5s, "common"));
    // the simulator's end of the line goes and comes back behind the same
    // link, as an adapter unplugged and plugged back
    b.sim({"fault", "drop"});
    EXPECT_EQ((json{{"common", {{"device", "offline"}}}}), event(*c, 5s, "common"));
    EXPECT_EQ((json{{"common", {{"device", "online"}}}}), event(*c, 5s, "common"));
    EXPECT_NE(std::string::npos, d.log().find("offline (ERR_SER_PORT_NOT_FOUND)")) << d.log();
}

TEST(SiudLimits, MalformedMessagesAreAcknowledgedInvalidMessageAndTheClientStaysServed) {
    const std::vector<std::string> bad = {
        "not JSON at all",
        "[1,2]",
        R"({"payload":{}})",
        R"({"header":{"requestId":1,"type":"command","version":"1.0"}})",
        R"({"header":{"name":"Common.Status","type":"command","version":"1.0"}})",
        R"({"header":{"name":"Common.Status","requestId":"1","type":"command","version":"1.0"}})",
        R"({"header":{"name":"Common.Status","requestId":-4,"type":"command","version":"1.0"}})",
        R"({"header":{"name":"Common.Status","requestId":1,"type":"event","version":"1.0"}})",
        R"({"header":{"name":"Common.Status","requestId":1,"type":"command"}})",
        R"({"header":{"name":"Common.Status","requestId":1,"type":"command","version":"one"}})",
        R"({"header":{"name":"Common.Status","requestId":1,"type":"command","version":"1.0","timeout":-5}})",
        R"({"header":{"name":"Common.Status","requestId":1,"type":"command","version":"1.0"},"payload":[]})",
    };
    Bench b;
    Siud d(b);
    auto c = d.client();
    for (const std::string& text : bad) {
        ASSERT_TRUE(c->send(text));
        const auto ack = c->next([](const json& m) { return Client::is(m, "acknowledge"); }, 5s);
        ASSERT_TRUE(ack) << text;
        EXPECT_EQ("invalidMessage", (*ack)["header"]["status"]) << text;
    }
    EXPECT_EQ("online", run(*c, "Common.Status")["common"]["device"]);
}

TEST(SiudLimits, RequestsBeyondTheQueueAndReusedIdsAreRefusedInTheAcknowledge) {
    Bench b;
    Siud d(b, {{"max_requests", "2"}});
    auto c = d.client();
    // four at once, while the board takes 300 ms over each answer
    b.sim({"fault", "stall", "4", "300"});
    for (int id : {1, 2, 2, 3}) c->send(Client::command("Common.Status", id));
    std::vector<std::string> acks;
    for (int i = 0; i < 4; ++i) {
        const auto m = c->next([](const json& j) { return Client::is(j, "acknowledge"); }, 5s);
        ASSERT_TRUE(m);
        acks.push_back((*m)["header"].value("status", "accepted"));
    }
    EXPECT_EQ((std::vector<std::string>{"accepted", "accepted", "invalidRequestID", "tooManyRequests"}),
              acks);
    for (int id : {1, 2})
        EXPECT_TRUE(c->next([&](const json& j) { return Client::is(j, "completion", id); }, 5s));
    run(*c, "Common.Status", {}, "success", 3);
}

TEST(SiudLimits, OversizedMessagesAndClientsBeyondTheLimitAreClosedWithTheirCodes) {
    Bench b;
    Siud d(b, {{"max_clients", "2"}, {"max_message", "1024"}});
    auto big = d.client(), second = d.client();
    auto third = d.client();
    EXPECT_TRUE(siutest::waitFor([&] { return third->receive(10ms), third->closed(); }));
    EXPECT_EQ(1013, third->closeCode());  // try again later

    big->send(Client::command("Common.Status", 1, {{"pad", std::string(1100, 'x')}}));
    EXPECT_TRUE(siutest::waitFor([&] { return big->receive(10ms), big->closed(); }));
    EXPECT_EQ(1009, big->closeCode());  // message too big
    auto another = d.client();
    run(*another, "Common.Status");
    run(*second, "Common.Status");
}

TEST(SiudLimits, AClientDroppingMidCommandDisturbsNobodyAndATimeoutEndsAStalledCommand) {
    Bench b;
    Siud d(b);
    auto other = d.client();
    {
        auto gone = d.client();
        gone->send(Client::command("Common.Status", 1));
        gone->send(Client::command("Lights.SetLight", 2,
                                   {{"pinPad", {{"default", {{"flashRate", "continuous"}}}}}}));
        gone->drop();
    }
    run(*other, "Common.Status");
    // the board answers each exchange 400 ms late: both sides of the timeout
    b.sim({"fault", "stall", "100000", "400"});
    other->send(Client::command("Common.Status", 7, {}, 150));
    const auto late = other->next([](const json& m) { return Client::is(m, "completion", 7); }, 5s);
    ASSERT_TRUE(late);
    EXPECT_EQ("timeOut", (*late)["header"]["completionCode"]);
    other->send(Client::command("Common.Status", 8, {}, 5000));
    const auto inTime = other->next([](const json& m) { return Client::is(m, "completion", 8); }, 8s);
    ASSERT_TRUE(inTime);
    EXPECT_EQ("success", (*inTime)["header"]["completionCode"]);
    EXPECT_FALSE(other->next([](const json& m) { return Client::is(m, "completion", 7); }, 200ms))
        << "a command that timed out is completed once";
}

TEST(SiudSecurity, WssServesWithATestCertificateAndOtherAddressesNeedTls) {
    Bench b;
    const std::string cert = b.tmp.file("cert.pem"), key = b.tmp.file("key.pem");
    const std::string make = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1"
                             " -addext subjectAltName=IP:127.0.0.1 -keyout " + key + " -out " +
                             cert + " >/dev/null 2>&1";
    ASSERT_EQ(0, std::system(make.c_str()));
    {
        Siud d(b, {{"tls_certificate", cert}, {"tls_private_key", key}});
        ASSERT_EQ(0u, d.origin.rfind("wss://127.0.0.1:", 0)) << d.origin;
        auto c = d.client("", cert);
        EXPECT_EQ("online", run(*c, "Common.Status")["common"]["device"]);
        Client plain, untrusted;
        std::string error;
        EXPECT_FALSE(plain.connect("ws" + d.url().substr(3), error));
        EXPECT_FALSE(untrusted.connect(d.url(), error, SIU_SOURCE_DIR "/examples/siud.ini"));
    }
    const std::string ini = b.tmp.write("open.ini", siudIni(b, {{"address", "0.0.0.0"}}));
    const Result r = ctltest::run({SIUD_EXE, "--config", ini});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("needs TLS")) << r.err;
}

TEST(SiudLifecycle, SigtermClosesEveryClientAndEndsCleanly) {
    Bench b;
    auto d = std::make_unique<Siud>(b);
    auto c = d->client();
    run(*c, "Common.Status");
    d->process.signal(SIGTERM);
    EXPECT_TRUE(siutest::waitFor([&] { return c->receive(10ms), c->closed(); }));
    EXPECT_EQ(1001, c->closeCode());  // going away
    EXPECT_EQ(0, d->process.wait(5s));
    EXPECT_NE(std::string::npos, d->log().find("siud: stopped"));
    std::string logs;
    for (const auto& e : std::filesystem::directory_iterator(b.logs))
        logs += siutest::readWholeFile(e.path());
    EXPECT_NE(std::string::npos, logs.find("CMD_CLOSE")) << "the service was closed";
}
