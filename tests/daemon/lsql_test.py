"""Requests: what they leave behind, what they commit, and what they say in the log."""

import pytest

from access_point import (commits, config, counts, dataset, error, radio, result, select, start,
                          startup)
from support import LsqlTcp, NotifyClient, inform, log, lsql, read, wait_until

UPDATE = '<update><radio name="r0"><ssid>new</ssid></radio></update>'
BAD = '<update><radio name="r0"><state>bad</state></radio></update>'
INSERT = '<insert><radio name="r9"><state>down</state></radio></insert>'
DELETE = '<delete><radio name="r0"/></delete>'
SELECT = "<select><radio><ssid/></radio></select>"
BAD_STATE = 'Value "bad" is not valid for property "state" of class "radio".'
RUNNING = [radio("r0", ssid="lab"), "<system><contact>admin</contact></system>"]


def request(*operations):
    return "<lsql>" + "".join(operations) + "</lsql>"


def transaction(*operations):
    return "<lsql><write-transaction>" + "".join(operations) + "</write-transaction></lsql>"


def ssids():
    """The ssid of each radio, as a request answers them."""
    return lsql(request(SELECT))


def ssid_answer(*pairs):
    instances = [f'<radio name="{name}">' + (f"<ssid>{ssid}</ssid>" if ssid else "<ssid/>") +
                 "</radio>" for name, ssid in pairs]
    return dataset(*instances) + counts(0, len(pairs))


BEFORE = result(ssid_answer(("r0", "lab")))
AFTER = result(ssid_answer(("r0", "new")))


def saved_origin(client):
    """The origin that a notification tells, or None."""
    assert inform("object=save") == "OK\n"
    message = client.recv_message()
    return message.split('origin="')[1].split('"')[0] if "origin=" in message else None


def transaction_number():
    inform("object=number")
    return int(read("/tmp/number"))


def evaluated(kind, text):
    inform(f"object={kind}&request={text}")
    return read("/tmp/result")


# ---- Answers ------------------------------------------------------------------------------------

def test_empty_lsql_element_is_incomplete():
    start(*RUNNING)
    assert lsql("<lsql/>") == result(error("Incomplete lsql request."))


def test_request_with_origin_is_refused_after_external_updates_are_disabled():
    start(*RUNNING)
    with_origin = f'<lsql origin="web">{SELECT}</lsql>'
    assert lsql(with_origin) == BEFORE
    assert inform("object=disable") == "OK\n"
    refusal = result(error("External updates are prohibited."))
    assert lsql(with_origin) == refusal
    assert lsql(f'<lsql origin="">{SELECT}</lsql>') == refusal
    assert lsql(f'<lsql origin="web">{UPDATE}</lsql>') == refusal
    assert lsql('<lsql origin="web"/>') == refusal
    assert lsql('<query origin="web"/>') == result(error("Top level name is not lsql."))
    assert ssids() == BEFORE
    assert lsql(request(UPDATE)) == result(counts(0, 1))
    assert lsql('<get_conf origin="web"/>') == startup()


def test_select_of_an_unknown_class_is_an_empty_dataset_without_error():
    start(*RUNNING)
    assert lsql(select("<modem/>")) == result("<dataset/>", counts(0, 0))


def test_properties_none_is_an_error_only_for_a_matching_instance():
    start(*RUNNING)
    assert lsql(select('<radio name="r9" properties="none"/>')) == result(dataset(), counts(0, 0))
    assert lsql(select('<radio name="r0" properties="none"/>')) == result(
        dataset('<radio name="r0"/>'), error('Invalid properties="none".', 1))


def test_eq_with_an_empty_value_never_matches():
    start(radio("r0", ssid=""), radio("r1"))
    where = "<where><eq><property>ssid</property><value></value></eq></where>"
    assert lsql(request("<select><radio/></select>" + where)) == result(dataset(), counts(0, 0))
    assert lsql(request("<select><radio/></select><where><property>ssid</property></where>")) != ""


def test_get_conf_answers_the_startup_configuration():
    start(*RUNNING)
    lsql(request(UPDATE))
    assert lsql("<get_conf/>") == startup() == config(*RUNNING)
    inform("object=save")
    assert lsql("<get_conf/>") == startup() != config(*RUNNING)


def test_request_that_is_not_well_formed_is_not_answered():
    start(*RUNNING)
    for text in ("", "lsql", "<lsql>", "<lsql></query>", "<lsql/><lsql/>", "<lsql a=b/>", "&lt;"):
        if text:
            assert lsql(text) == ""
            assert f"vesk: Invalid LSQL request: {text}\n" in log()
    assert ssids() == BEFORE


@pytest.mark.parametrize("dtd", [
    "<!DOCTYPE lsql>", '<!DOCTYPE lsql [<!ENTITY e "x">]>', '<!DOCTYPE lsql SYSTEM "/etc/passwd">',
    '<!DOCTYPE lsql [<!ENTITY e SYSTEM "file:///etc/passwd">]>',
    '<!DOCTYPE lsql [<!ENTITY a "aaaa"><!ENTITY e "&a;&a;&a;&a;">]>',
    '<!DOCTYPE lsql [<!ATTLIST radio name CDATA "r0">]>',
])
def test_request_with_a_dtd_is_refused(dtd):
    start(*RUNNING)
    assert lsql(dtd + request(UPDATE)) == ""
    assert lsql(dtd + request(UPDATE.replace("new", "&e;"))) == ""
    assert ssids() == BEFORE


def test_undeclared_entity_is_not_well_formed():
    start(*RUNNING)
    assert lsql(request(UPDATE.replace("new", "&nosuch;"))) == ""
    assert ssids() == BEFORE


def test_more_than_64_attributes_are_refused():
    start(*RUNNING)
    def with_attributes(count):
        return "<lsql " + " ".join(f'a{i}="1"' for i in range(count)) + f">{SELECT}</lsql>"
    assert lsql(with_attributes(64)) == BEFORE
    before = log()
    assert lsql(with_attributes(65)) == ""
    assert log() != before
    assert ssids() == BEFORE


def test_request_of_4_MiB_is_answered_and_a_longer_one_is_not():
    start(*RUNNING)
    def of_length(length):
        text = request(SELECT)
        return text + " " * (length - len(text))
    assert lsql(of_length(4 << 20)) == BEFORE
    before = log()
    assert lsql_or_reset(of_length((4 << 20) + 1)) == ""
    assert log() != before
    assert ssids() == BEFORE


def lsql_or_reset(text):
    """A refusal may come before everything was sent."""
    try:
        return lsql(text)
    except (BrokenPipeError, ConnectionResetError):
        return ""


# ---- What is edited and what is committed --------------------------------------------------------

def test_loading_commits_everything_once():
    start(*RUNNING)
    assert commits() == ["created radio r0 state ssid; created system - contact; created status -"]


def test_select_commits_nothing():
    start(*RUNNING)
    lsql(request(SELECT))
    assert len(commits()) == 1


@pytest.mark.parametrize("operation, expected", [
    (UPDATE, "changed radio r0 ssid"),
    ('<update><radio name="r0"/></update>', "changed radio r0"),
    ('<update><radio name="r9"/></update>', ""),
    ('<update><radio name="r0"><ssid>a</ssid><ssid>b</ssid><state>up</state></radio></update>',
     "changed radio r0 state ssid"),
    (INSERT, "created radio r9 state"),
    (DELETE, "deleted radio r0"),
    ('<delete><radio name="r9"/></delete>', ""),
    ('<delete><modem/></delete>', ""),
    (UPDATE + DELETE, "deleted radio r0"),
    (INSERT + '<delete><radio name="r9"/></delete>', ""),
    (DELETE + INSERT.replace("r9", "r0"), "created radio r0 state; deleted radio r0"),
    (INSERT + '<update><radio name="r9"><ssid>x</ssid></radio></update>', "created radio r9 state"),
    ('<select><modem/></select>' + UPDATE, "changed radio r0 ssid"),
    ('<insert><dns_server><address>1</address></dns_server><access_list name="g"><mac>1</mac>'
     '</access_list></insert>', "created dns_server - address; created access_list g mac"),
    ('<insert><interface name="e"><kind>ethernet</kind><mtu>1</mtu></interface></insert>',
     "created ethernet e kind mtu"),
    ('<update><status><message>m</message></status></update>', "changed status - message"),
    ('<delete><system/></delete>', "deleted system -"),
])
@pytest.mark.parametrize("wrap", [request, transaction])
def test_changes_are_committed_once(operation, expected, wrap):
    start(*RUNNING)
    assert "<error>" not in lsql(wrap(operation))
    assert commits()[1:] == [expected]


def test_update_then_select_edits_running_without_a_commit():
    start(*RUNNING)
    assert lsql(request(UPDATE, SELECT)) == result(counts(0, 1), ssid_answer(("r0", "new")))
    assert ssids() == AFTER
    assert len(commits()) == 1


def test_transaction_that_ends_in_a_select_is_committed():
    start(*RUNNING)
    lsql(transaction(UPDATE, SELECT))
    assert commits()[1:] == ["changed radio r0 ssid"]


def test_transaction_of_a_select_is_committed():
    start(*RUNNING)
    assert lsql(transaction(SELECT)) == BEFORE
    assert commits()[1:] == [""]


def test_edits_before_a_failing_operation_stay_without_a_commit():
    start(*RUNNING)
    assert lsql(request(UPDATE, INSERT, BAD, DELETE)) == result(
        counts(0, 1), counts(0, 1), error(BAD_STATE))
    assert ssids() == result(ssid_answer(("r0", "new"), ("r9", "")))
    assert len(commits()) == 1


def test_edits_of_a_failing_operation_stay_too():
    start(*RUNNING)
    text = '<update><radio name="r0"><ssid>new</ssid><state>bad</state></radio></update>'
    assert lsql(request(text)) == result(error(BAD_STATE))
    assert ssids() == AFTER
    assert len(commits()) == 1


def test_failing_second_operation_in_a_transaction_leaves_running_as_before():
    start(*RUNNING, '<access_list name="g"><mac>1</mac></access_list>')
    inform("object=save")
    before = startup()
    for operation in (UPDATE, INSERT, DELETE, "<delete><access_list/></delete>",
                      "<delete><system/></delete>"):
        answer = lsql(transaction(operation, '<update><modem/></update>', SELECT))
        assert 'Unknown class "modem".' in answer
        inform("object=save")
        assert startup() == before
        answer = lsql(transaction(operation, '<insert><system name="x"/></insert>', SELECT))
        assert 'Bad instance name "x" of class "system".' in answer
        inform("object=save")
        assert startup() == before
    assert len(commits()) == 1


def test_empty_transaction_has_an_empty_result_and_an_empty_commit():
    start(*RUNNING)
    assert lsql("<lsql><write-transaction/></lsql>") == result()
    assert commits()[1:] == [""]
    assert ssids() == BEFORE


def test_error_of_the_first_pass_edits_nothing():
    start(*RUNNING)
    assert lsql(request(UPDATE, "<bogus><radio/></bogus>")) == result(
        error('Invalid operation "bogus".'))
    assert lsql(request(UPDATE, "<update><modem/></update>")) == result(
        error('Unknown class "modem".'))
    assert ssids() == BEFORE
    assert len(commits()) == 1


def test_error_of_the_first_pass_refreshes_nothing():
    start(*RUNNING)
    clients = '<select><radio name="r0"><clients/></radio></select>'
    lsql(request(clients, "<bogus><radio/></bogus>"))
    assert "<clients>1</clients>" in lsql(request(clients))


def test_each_request_is_refreshed_once_however_many_operations_read():
    start(*RUNNING)
    clients = '<select><radio name="r0"><clients/></radio></select>'
    assert lsql(request(clients, clients)).count("<clients>1</clients>") == 2
    assert lsql(request(clients, clients)).count("<clients>2</clients>") == 2


@pytest.mark.parametrize("operation", [
    "<update><radio><ssid>x</ssid></radio></update>", "<delete><radio/></delete>",
    "<select><radio/></select>",
])
@pytest.mark.parametrize("where", [
    "<eq><property>clients</property><value>1</value></eq>",
    "<eq><value>1</value><property>clients</property></eq>",
    "<and><value>1</value><or><not><not><property>clients</property></not></not></or></and>",
])
def test_properties_of_a_where_are_refreshed(operation, where):
    start(*RUNNING)
    answer = lsql(request(operation, f"<where>{where}</where>"))
    assert answer.endswith(counts(0, 1) + "</lsql_result>\n")


def test_property_that_is_not_asked_for_is_not_refreshed():
    start(*RUNNING)
    lsql(select("<radio><state/></radio>"))
    lsql(select('<radio name="r9"><clients/></radio>'))
    assert "<clients>1</clients>" in lsql(select("<radio><clients/></radio>"))


def test_passive_update_within_a_refresh_keeps_the_outer_changes():
    start(*RUNNING)
    where = "<where><eq><property>load</property><value>load</value></eq></where>"
    lsql(request("<update><system><contact>root</contact></system></update>", where))
    assert commits()[1:] == ["changed system - contact"]


def test_insert_failure_keeps_the_instances_before_it():
    start(*RUNNING)
    assert lsql(request('<insert><radio name="r9"><state>down</state></radio>'
                        '<radio name="r8"><state>bad</state></radio></insert>')) == result(
                            error(BAD_STATE, 1))
    assert ssids() == result(ssid_answer(("r0", "lab"), ("r9", "")))


# ---- Within the daemon ---------------------------------------------------------------------------

def test_passive_request_edits_without_a_commit():
    start(*RUNNING)
    assert evaluated("passive", request(UPDATE)) == result(counts(0, 1))
    assert ssids() == AFTER
    assert len(commits()) == 1


def test_passive_request_may_write_what_clients_may_not():
    start(*RUNNING)
    load = "<update><system><load>7</load></system></update>"
    assert "not writable" in lsql(request(load))
    assert evaluated("passive", request(load)) == result(counts(0, 1))
    insert = '<insert><radio name="r9"><state>up</state><clients>3</clients></radio></insert>'
    assert "not writable" in lsql(request(insert))
    assert evaluated("passive", request(insert)) == result(counts(0, 1))
    assert evaluated("passive", request(BAD)) == result(error(BAD_STATE))


def test_passive_transaction_is_dropped():
    start(*RUNNING)
    assert evaluated("passive", transaction(UPDATE)) == result(counts(0, 1))
    assert ssids() == BEFORE
    assert len(commits()) == 1


def test_active_request_of_a_plugin_is_committed():
    start(*RUNNING)
    assert evaluated("eval", request(UPDATE)) == result(counts(0, 1))
    assert commits()[1:] == ["changed radio r0 ssid"]
    assert evaluated("eval", "<lsql>") == "(null)"
    assert evaluated("eval", "<get_conf/>") == startup()


def test_action_is_a_commit_without_changes():
    start(*RUNNING)
    assert inform("object=action") == "OK\n"
    assert commits()[1:] == [""]


def test_transaction_number_grows_once_per_operation_and_pass():
    start(*RUNNING)
    first = transaction_number()
    lsql(request(SELECT))
    assert transaction_number() == first + 2
    lsql(request(SELECT, UPDATE, DELETE))
    assert transaction_number() == first + 8
    evaluated("passive", request(SELECT))
    lsql("<lsql/>")
    lsql("<query/>")
    lsql("<get_conf/>")
    assert transaction_number() == first + 8


def test_origin_is_that_of_the_last_request():
    start(*RUNNING)
    with NotifyClient() as client:
        assert saved_origin(client) is None
        lsql(f'<lsql origin="web">{SELECT}</lsql>')
        assert saved_origin(client) == "web"
        lsql('<query origin="other"/>')
        lsql('<get_conf origin="other"/>')
        lsql('<lsql origin="other">')
        assert saved_origin(client) == "web"
        lsql('<lsql origin="cli"/>')
        assert saved_origin(client) == "cli"
        lsql(request(SELECT))
        assert saved_origin(client) is None


def test_origin_survives_a_passive_update_within_the_refresh():
    start(*RUNNING)
    with NotifyClient() as client:
        lsql('<lsql origin="web"><select><system><load/></system></select></lsql>')
        assert saved_origin(client) == "web"


# ---- Log -----------------------------------------------------------------------------------------

@pytest.mark.parametrize("level, active, passive", [
    (0, False, False), (1, True, False), (2, True, True), (6, True, True),
])
def test_requests_and_results_are_logged(level, active, passive):
    start(*RUNNING, args=["-d"] * level)
    lsql(request(SELECT))
    evaluated("passive", request(SELECT))
    assert ("vesk: LSQL query:\n" in log()) == active
    assert ("vesk: LSQL result:\n" in log()) == active
    assert ("vesk: LSQL query (passive):\n" in log()) == passive
    assert ("vesk: LSQL result (passive):\n" in log()) == passive


@pytest.mark.parametrize("level", [3, 4])
def test_expressions_are_logged_from_level_4(level):
    start(*RUNNING, args=["-d"] * level)
    where = "<where><eq><property>ssid</property><value>lab</value></eq></where>"
    lsql(request("<select><radio/></select>", where))
    for text in ("property evaluates to lab", "value evaluates to lab", "eq evaluates to 1"):
        assert (f"vesk: eval_expr: {text}\n" in log()) == (level == 4)


def test_unknown_expression_is_logged():
    start(*RUNNING)
    lsql(request("<select><radio/></select><where><ne/></where>"))
    assert 'vesk: eval_expr: Unknown expression name "ne".\n' in log()


def test_other_metadata_is_logged():
    start(*RUNNING, args=["-dddddd"])
    lsql(request("<select><radio/></select><where><metadata>class</metadata></where>"))
    assert 'Metadata other than "name" is not supported.\n' in log()


@pytest.mark.parametrize("level", [3, 4])
def test_deletions_are_logged_from_level_4(level):
    start(*RUNNING, args=["-d"] * level)
    lsql(request(DELETE))
    text = "vesk: Considering deleting:\nInstance name: r0\tclass: radio\n"
    assert (text in log()) == (level == 4)


def test_abstract_classes_without_a_good_identifier_are_logged():
    start(*RUNNING)
    def insert(inside):
        return lsql(request(f'<insert><interface name="x">{inside}</interface></insert>'))
    insert("")
    insert("<kind/>")
    insert("<kind>tunnel</kind>")
    insert("<kind>radio</kind>")
    said = log()
    head = 'vesk: Instance of class "interface" '
    assert head + 'does not contain a subclass identifier property "kind".\n' in log()
    assert head + 'subclass identifier property "kind" has a null value.\n' in log()
    assert head + ('subclass identifier property "kind" value is an unknown class '
                   '"tunnel".\n') in said
    assert head + ('subclass identifier property "kind" value is "radio", which is not a subclass '
                   'of "interface".\n') in log()


# ---- Size ----------------------------------------------------------------------------------------

def test_thousand_operations_in_one_request():
    start(*RUNNING)
    inserts = "".join(f'<radio name="n{i}"><state>up</state></radio>' for i in range(1000))
    assert lsql(request(f"<insert>{inserts}</insert>")) == result(counts(0, 1000))
    updates = "".join(f'<update><radio name="n{i}"><ssid>s{i}</ssid></radio></update>'
                      for i in range(1000))
    assert lsql(transaction(updates)) == result(counts(0, 1) * 1000)
    selects = '<select><radio name="n7"><ssid/></radio></select>' * 1000
    one = dataset('<radio name="n7"><ssid>s7</ssid></radio>') + counts(0, 1)
    assert lsql(request(selects)) == result(one * 1000)
    assert lsql(request("<delete><radio/></delete>")) == result(counts(0, 1001))
    assert lsql(request(SELECT)) == result(dataset(), counts(0, 0))


def test_answers_on_one_connection_follow_the_requests():
    start(*RUNNING)
    with LsqlTcp() as client:
        for i in range(200):
            assert client.request(request(UPDATE.replace("new", f"n{i}"))) == result(counts(0, 1))
            assert client.request(request(SELECT)) == result(ssid_answer(("r0", f"n{i}")))
    wait_until(lambda: len(commits()) == 201, what="the commits")
