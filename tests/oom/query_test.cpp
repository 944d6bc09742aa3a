#include "tests/oom/device.h"

#include <cstring>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/running.h"
#include "model/iterator.h"
#include "query/origin.h"
#include "vesk/changes.h"
#include "vesk/commit_info.h"
#include "vesk/inform.h"
#include "vesk/notify.h"
#include "vesk/query.h"

// Requests: a whole answer, or none; a transaction happens, with the providers told, or not at all.

namespace vesk::test {
namespace {

/** Running as the providers know it: the one before the first commit, then what each was given. */
std::string known_to_providers;
bool was_told = false;

void remember(vesk_commit_info *info)
{
    const plenty enough;
    known_to_providers = instances_of(*vesk_commit_info_get_after(info));
    was_told = true;
}

/** Values that the system reports are written by a request within the request. */
void report_status(vesk_refresh_info *)
{
    const c_string answer{vesk_query_eval_passive(
        "<lsql origin=\"inner\"><update><system><status>up</status></system></update></lsql>")};
}

class OomQuery : public device {
  protected:
    OomQuery()
    {
        provider_.reset(vesk_provider_new("remembering"));
        vesk_provider_set_commit_fn(provider_.get(), remember, nullptr);
        vesk_providers_add(provider_.get());
        vesk_providers_done_adding();
    }
    ~OomQuery() override
    {
        vesk_instances_delete_all(exchange_running(nullptr));
        known_to_providers = {};
    }

    /** Running, for one request; it may be replaced meanwhile. */
    struct running {
        struct ending {
            ~ending()
            {
                vesk_instances_delete_all(exchange_running(nullptr));
                known_to_providers = {};
                known_to_providers.shrink_to_fit();
                set_origin(nullptr);
            }
        };
        std::unique_ptr<ending> at_end = std::make_unique<ending>();
        std::string before;
    };

    running start()
    {
        exchange_running(configuration().release());
        running r;
        r.before = instances_of(*vesk_config_get_running());
        known_to_providers = r.before;
        was_told = false;
        return r;
    }

    /** Whether requests are still answered, and running can be edited, as if nothing had been. */
    static void expect_intact()
    {
        vesk_instances *all = vesk_config_get_running();
        EXPECT_EQ(all->hook.listener, nullptr);
        for_each_instance(*all, [](vesk_instance &i) { EXPECT_EQ(i.hook.listener, nullptr); });
        const c_string answer{vesk_query_eval(
            "<lsql><update><system><contact>nobody</contact></system></update></lsql>")};
        ASSERT_TRUE(answer);
        EXPECT_NE(std::string{answer.get()}.find("<rc>0</rc><counter>1</counter>"),
                  std::string::npos)
            << answer.get();
        EXPECT_EQ(known_to_providers, instances_of(*vesk_config_get_running()));
    }

    enum class kind { plain, transaction };

    void expect_answer_or_nothing(const char *request, kind what,
                                  char *(*eval)(const char *) = vesk_query_eval)
    {
        SCOPED_TRACE(request);
        std::string answered, done;
        {
            const running r = start();
            const c_string answer{eval(request)};
            ASSERT_TRUE(answer);
            answered = answer.get();
            done = instances_of(*vesk_config_get_running());
        }
        for_each_failure([&] { return start(); },
                         [&](running &) { return c_string{eval(request)}; },
                         [&](running &r, c_string &answer) {
                             const std::string now = instances_of(*vesk_config_get_running());
                             if (answer) {
                                 EXPECT_EQ(answer.get(), answered);
                                 EXPECT_EQ(now, done);
                             } else if (what == kind::transaction) {
                                 EXPECT_EQ(now, r.before) << "null, but running was changed";
                             }
                             if (what == kind::transaction && eval == vesk_query_eval) {
                                 EXPECT_EQ(now, known_to_providers) << "providers do not know";
                             }
                             expect_intact();
                         });
    }

    void expect_alone_and_in_transaction(const std::string &operations)
    {
        expect_answer_or_nothing(("<lsql>" + operations + "</lsql>").c_str(), kind::plain);
        expect_answer_or_nothing(
            ("<lsql><write-transaction>" + operations + "</write-transaction></lsql>").c_str(),
            kind::transaction);
    }

    std::unique_ptr<vesk_provider> provider_;
};

TEST_F(OomQuery, Select)
{
    expect_alone_and_in_transaction("<select><radio properties=\"all\"/></select>");
    expect_alone_and_in_transaction("<select><acl name=\"guests\"><address/></acl></select>"
                                    "<select><port><mtu/></port></select>");
}

TEST_F(OomQuery, SelectWhere)
{
    expect_alone_and_in_transaction(
        "<select><radio><channel/></radio></select>"
        "<where><and><not><eq><property>channel</property><value>36</value></eq></not>"
        "<or><eq><metadata>name</metadata><value>wlan0</value></eq></or></and></where>");
}

TEST_F(OomQuery, SelectOfWhatIsNoXmlCharacter)
{
    expect_answer_or_nothing("<lsql><select><user><login/></user></select></lsql>", kind::plain);
    const auto ill = [&] {
        running r = start();
        vesk_instance_set_value(vesk_instances_get(vesk_config_get_running(), "radio", "wlan0"),
                                "ssid", "\x01\xFF");
        return r;
    };
    for_each_failure(
        ill,
        [](running &) {
            return c_string{
                vesk_query_eval("<lsql><select><radio><ssid/></radio></select></lsql>")};
        },
        [](running &, c_string &answer) {
            if (answer) {
                EXPECT_NE(std::strstr(answer.get(), "&#xFFFD;&#xFFFD;"), nullptr) << answer.get();
            }
        });
}

TEST_F(OomQuery, Update)
{
    expect_alone_and_in_transaction("<update><radio><channel>11</channel></radio></update>");
    expect_alone_and_in_transaction(
        "<update><radio name=\"wlan1\"><channel>11</channel><ssid>a &amp; b</ssid></radio></update>"
        "<update><user><login>three</login></user></update>");
}

TEST_F(OomQuery, UpdateWhere)
{
    expect_alone_and_in_transaction(
        "<update><radio><ssid>another network of the house</ssid></radio></update>"
        "<where><eq><property>channel</property><value>36</value></eq></where>");
}

TEST_F(OomQuery, Delete)
{
    expect_alone_and_in_transaction("<delete><radio name=\"wlan1\"/></delete>");
    expect_alone_and_in_transaction("<delete><acl/></delete><delete><port/></delete>");
}

TEST_F(OomQuery, Insert)
{
    expect_alone_and_in_transaction(
        "<insert><radio name=\"wlan7\"><channel>1</channel><ssid>x</ssid></radio></insert>");
    expect_alone_and_in_transaction("<insert><user><login>three</login></user>"
                                    "<acl name=\"guests\"><address>4</address></acl></insert>");
    expect_alone_and_in_transaction("<insert><port name=\"ath0\"><type>wireless</type>"
                                    "<band>5</band><mtu>1500</mtu></port></insert>");
}

TEST_F(OomQuery, EscapedAndCdataText)
{
    expect_alone_and_in_transaction(
        "<update><radio name=\"house &amp; garden\"><ssid><![CDATA[<cottage>]]></ssid></radio>"
        "</update>");
    expect_alone_and_in_transaction(
        "<insert><radio name=\"a &lt; b\"><channel>&#49;</channel></radio></insert>"
        "<delete><radio name='house &amp; garden'/></delete>");
}

TEST_F(OomQuery, Everything)
{
    expect_alone_and_in_transaction(
        "<insert><radio name=\"wlan7\"><channel>1</channel></radio></insert>"
        "<update><radio><channel>44</channel></radio></update>"
        "<delete><radio name=\"wlan0\"/></delete>"
        "<insert><radio name=\"wlan0\"><channel>13</channel></radio></insert>"
        "<select><radio properties=\"all\"/></select>");
}

TEST_F(OomQuery, RequestsThatAreRefused)
{
    for (const char *request :
         {"<lsql/>", "<other/>", "<lsql><delte><radio/></delte></lsql>", "<lsql><select/></lsql>",
          "<lsql><select><radio properties=\"some\"/></select></lsql>",
          "<lsql><update><radio><nothing>1</nothing></radio></update></lsql>",
          "<lsql><insert><port name=\"eth7\"><type>wired</type></port></insert></lsql>",
          "<lsql><insert><radio/></insert></lsql>",
          "<lsql><write-transaction><update><radio><channel>11</channel></radio></update>"
          "<insert><radio name=\"wlan0\"/></insert></write-transaction></lsql>"})
        expect_answer_or_nothing(request, kind::transaction);
}

TEST_F(OomQuery, WithAnOrigin)
{
    expect_answer_or_nothing("<lsql origin=\"an origin that does not fit into a short string\">"
                             "<write-transaction><update><radio><channel>11</channel></radio>"
                             "</update></write-transaction></lsql>",
                             kind::transaction);
}

TEST_F(OomQuery, Passive)
{
    expect_answer_or_nothing("<lsql><update><system><status>up</status></system></update></lsql>",
                             kind::plain, vesk_query_eval_passive);
    expect_answer_or_nothing("<lsql><insert><user><login>three</login></user></insert></lsql>",
                             kind::plain, vesk_query_eval_passive);
}

/** At this level the request and its answer are printed. */
TEST_F(OomQuery, WhileDebugging)
{
    set_level(6);
    expect_alone_and_in_transaction("<update><radio><channel>11</channel></radio></update>"
                                    "<delete><radio name=\"wlan1\"/></delete>");
}

/** A refresh writes its values through a request of its own; the outer one keeps its origin. */
TEST_F(OomQuery, WithARefreshThatWrites)
{
    vesk_provider_set_refresh_fn(provider_.get(), report_status, nullptr);
    const std::string request = "<lsql origin=\"outer\"><update><radio name=\"wlan1\"><channel>11"
                                "</channel></radio></update></lsql>";
    for_each_failure([&] { return start(); },
                     [&](running &) { return c_string{vesk_query_eval(request.c_str())}; },
                     [&](running &, c_string &answer) {
                         vesk_instances *all = vesk_config_get_running();
                         const char *channel = vesk_instance_get_value(
                             vesk_instances_get(all, "radio", "wlan1"), "channel");
                         if (answer) {
                             EXPECT_STREQ(channel, "11") << answer.get();
                             EXPECT_STREQ(vesk_query_origin, "outer");
                             EXPECT_EQ(known_to_providers, instances_of(*all));
                         }
                         expect_intact();
                     });
}

TEST_F(OomQuery, Action)
{
    for_each_failure([&] { return start(); },
                     [](running &) {
                         vesk_query_action("provider", "restart", "radio", "wlan0");
                         return 0;
                     },
                     [](running &r, int) {
                         EXPECT_EQ(instances_of(*vesk_config_get_running()), r.before);
                         expect_intact();
                     });
}

/** What libxml2 makes of a document is whole, or an exception, or null. */
TEST_F(OomQuery, ParseXml)
{
    const std::string text =
        "<?xml version=\"1.0\"?><a b=\"one &amp; two\" c=''><d>some text</d><!-- x --><e/>"
        "<![CDATA[<raw>]]><f>&#228; &lt; &gt;</f><g>" +
        std::string(500, 'x') + "</g></a>";
    const auto written = [](const xml_doc &document) {
        xmlChar *dump = nullptr;
        int size = 0;
        xmlDocDumpMemory(document.get(), &dump, &size);
        const std::string result{reinterpret_cast<char *>(dump), static_cast<size_t>(size)};
        xmlFree(dump);
        return result;
    };
    const std::string whole = written(parse_xml(text, xml_source::client));
    for (const xml_source policy : {xml_source::file, xml_source::client})
        for_each_failure([] { return 0; },
                         [&](int) {
                             return or_on_oom(std::pair{true, xml_doc{}}, [&] {
                                 return std::pair{false, parse_xml(text, policy)};
                             });
                         },
                         [&](int, auto &result) {
                             if (result.second) {
                                 EXPECT_EQ(written(result.second), whole);
                             } else {
                                 EXPECT_TRUE(result.first) << "taken for bad input";
                             }
                         });
}

TEST_F(OomQuery, Notify)
{
    for_each_failure([] { return 0; },
                     [](int) {
                         vesk_notify_conf_change("an origin that is <long> and \"quoted\" & all");
                         vesk_notify_object_change("somebody & others", "radio", "wlan0", "channel",
                                                   "a value that is \x01 <long> & quoted");
                         return 0;
                     },
                     [](int, int) {});
}

TEST_F(OomQuery, InformFnAdd)
{
    static int number = 0;
    const auto name = [] { return "a handler of the name number " + std::to_string(number); };
    for (const shortage how : {shortage::once, shortage::lasting})
        for (size_t at = 1;; ++at) {
            ++number;
            const std::string object = name();
            const size_t before = live_blocks();
            begin_shortage(at, how);
            const int result = vesk_inform_fn_add(object.c_str(), [] { return 0; });
            const bool reached = end_shortage();
            if (result != 0) {
                EXPECT_EQ(live_blocks(), before);
            }
            // The first of a name stays, one that was refused does not.
            EXPECT_EQ(vesk_inform_fn_add(object.c_str(), [] { return 0; }), result == 0 ? 1 : 0);
            if (!reached) break;
        }
}

} // namespace
} // namespace vesk::test
