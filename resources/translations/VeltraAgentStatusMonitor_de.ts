<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name></name>
    <message id="VELTRA_AGENT_MONITOR">
        <source></source>
        <translation>Veltra-Agent-Statusmonitor</translation>
    </message>
    <message id="COLLECT_SEND_PROP">
        <source></source>
        <translation>Eigenschaften senden</translation>
    </message>
    <message id="SEND_EVENTS">
        <source></source>
        <translation>Ereignisse senden</translation>
    </message>
    <message id="CHECK_NEW_POLICIES">
        <source></source>
        <translation>Neue Richtlinien suchen</translation>
    </message>
    <message id="ENFORECE_POLICIES">
        <source></source>
        <translation>Richtlinien durchsetzen</translation>
    </message>
    <message id="SAVE_TO_DESKTOP">
        <source></source>
        <translation>Protokoll auf Desktop sichern</translation>
    </message>
    <message id="CLOSE">
        <source></source>
        <translation>Schließen</translation>
    </message>
    <message id="COMMAND_RUNNING">
        <source></source>
        <translation>Ein Befehl läuft</translation>
    </message>
    <message id="DATE">
        <source></source>
        <translation>Datum</translation>
    </message>
    <message id="TIME">
        <source></source>
        <translation>Uhrzeit</translation>
    </message>
    <message id="Message_Type">
        <source></source>
        <translation>Meldungsart</translation>
    </message>
    <message id="Message">
        <source></source>
        <translation>Meldung</translation>
    </message>
    <message id="COMPONENT">
        <source></source>
        <translation>Komponente</translation>
    </message>
    <message id="AGENT_SERVICE_RUNNING">
        <source></source>
        <translation>Der Agentendienst läuft</translation>
    </message>
    <message id="AGENT_SERVICE_SHUTTING">
        <source></source>
        <translation>Der Agentendienst läuft nicht</translation>
    </message>
    <message id="Zel Server IP %@">
        <source></source>
        <translation>Verwaltungsserver: %@</translation>
    </message>
    <message id="VERSION">
        <source></source>
        <translation>Version</translation>
    </message>
</context>
</TS>
