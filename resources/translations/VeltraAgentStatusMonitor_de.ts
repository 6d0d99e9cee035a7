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
    <message id="COLLECT_SEND_PROP_LETTER">
        <source></source>
        <translation>E</translation>
    </message>
    <message id="SEND_EVENTS">
        <source></source>
        <translation>Ereignisse senden</translation>
    </message>
    <message id="SEND_EVENTS_LETTER">
        <source></source>
        <translation>r</translation>
    </message>
    <message id="CHECK_NEW_POLICIES">
        <source></source>
        <translation>Neue Richtlinien suchen</translation>
    </message>
    <message id="CHECK_NEW_POLICIES_LETTER">
        <source></source>
        <translation>N</translation>
    </message>
    <message id="ENFORECE_POLICIES">
        <source></source>
        <translation>Richtlinien durchsetzen</translation>
    </message>
    <message id="ENFORECE_POLICIES_LETTER">
        <source></source>
        <translation>d</translation>
    </message>
    <message id="SAVE_TO_DESKTOP">
        <source></source>
        <translation>Protokoll auf Desktop sichern</translation>
    </message>
    <message id="SAVE_TO_DESKTOP_LETTER">
        <source></source>
        <translation>a</translation>
    </message>
    <message id="CLOSE">
        <source></source>
        <translation>Schließen</translation>
    </message>
    <message id="CLOSE_LETTER">
        <source></source>
        <translation>S</translation>
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
    <message id="LANGUAGE">
        <source></source>
        <translation>de</translation>
    </message>
    <message id="LOG_TABLE">
        <source></source>
        <translation>Protokoll des Agenten</translation>
    </message>
    <message id="AGENT_STATE">
        <source></source>
        <translation>Zustand des Agentendienstes</translation>
    </message>
    <message id="AGENT_VERSION">
        <source></source>
        <translation>Version des Agenten</translation>
    </message>
    <message id="AGENT_SERVER">
        <source></source>
        <translation>Verwaltungsserver des Agenten</translation>
    </message>
    <message id="EMPTY_TABLE">
        <source></source>
        <translation>Warum die Tabelle leer ist</translation>
    </message>
    <message id="FOLLOWED_LOG">
        <source></source>
        <translation>Verfolgtes Protokoll</translation>
    </message>
    <message id="NEWEST_EVENT">
        <source></source>
        <translation>Neuestes Ereignis</translation>
    </message>
    <message id="LASTING_STATE">
        <source></source>
        <translation>Hinweis</translation>
    </message>
    <message id="LOG_TITLE">
        <source></source>
        <translation>&amp;Protokoll:</translation>
    </message>
    <message id="NO_LOG_FOLLOWED">
        <source></source>
        <translation>keines</translation>
    </message>
    <message id="FOLLOWED_LOG_ROW">
        <source></source>
        <translation>%@, 1 Zeile</translation>
    </message>
    <message id="FOLLOWED_LOG_ROWS">
        <source></source>
        <translation>%@, %@ Zeilen</translation>
    </message>
    <message id="TOOL_OUTPUT">
        <source></source>
        <translation>Werkzeugaus&amp;gabe</translation>
    </message>
    <message id="NEWER_LOG">
        <source></source>
        <translation>Neueres Protokoll: %@. Zum Lesen das Fenster neu öffnen.</translation>
    </message>
    <message id="NO_LOG_FOLDER">
        <source></source>
        <translation>Es gibt keinen Protokollordner %@. Öffnen Sie dieses Fenster erneut, sobald der Agent installiert ist und ein Protokoll begonnen hat.</translation>
    </message>
    <message id="LOG_FOLDER_UNREADABLE">
        <source></source>
        <translation>Der Protokollordner %@ kann nicht gelesen werden: %@</translation>
    </message>
    <message id="NO_LOG_IN_FOLDER">
        <source></source>
        <translation>In %@ gibt es noch kein Protokoll des Agenten. Öffnen Sie dieses Fenster erneut, sobald der Agent eines begonnen hat.</translation>
    </message>
    <message id="LOG_UNREADABLE">
        <source></source>
        <translation>Das Protokoll %@ kann nicht gelesen werden: %@</translation>
    </message>
    <message id="NO_ROWS_YET">
        <source></source>
        <translation>Von den Zeilen in %@ ist noch keine anzuzeigen (gelesene Zeilen: %@).</translation>
    </message>
    <message id="SAVED">
        <source></source>
        <translation>Gesichert als %@</translation>
    </message>
    <message id="SAVED_UNREAD">
        <source></source>
        <translation>Gesichert als %@, aber das Protokoll konnte nicht gelesen werden: %@</translation>
    </message>
    <message id="NOT_SAVED">
        <source></source>
        <translation>Nicht gesichert: %@</translation>
    </message>
    <message id="COMMAND_DONE">
        <source></source>
        <translation>%@: fertig</translation>
    </message>
    <message id="COMMAND_STATUS">
        <source></source>
        <translation>%@: mit Status %@ beendet</translation>
    </message>
    <message id="COMMAND_NOT_AUTHORIZED">
        <source></source>
        <translation>%@: nicht berechtigt</translation>
    </message>
    <message id="COMMAND_NOT_RUN">
        <source></source>
        <translation>%@: nicht ausführbar: %@</translation>
    </message>
    <message id="HELPER_NOT_REACHABLE">
        <source></source>
        <translation>%@: Der Hilfsdienst ist nicht erreichbar: %@</translation>
    </message>
</context>
</TS>
