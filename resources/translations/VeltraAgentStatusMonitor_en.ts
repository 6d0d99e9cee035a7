<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="VELTRA_AGENT_MONITOR">
        <source></source>
        <translation>Veltra Agent Status Monitor</translation>
    </message>
    <message id="COLLECT_SEND_PROP">
        <source></source>
        <translation>Collect and Send Properties</translation>
    </message>
    <message id="COLLECT_SEND_PROP_LETTER">
        <source></source>
        <translation>P</translation>
    </message>
    <message id="SEND_EVENTS">
        <source></source>
        <translation>Send Events</translation>
    </message>
    <message id="SEND_EVENTS_LETTER">
        <source></source>
        <translation>E</translation>
    </message>
    <message id="CHECK_NEW_POLICIES">
        <source></source>
        <translation>Check for New Policies</translation>
    </message>
    <message id="CHECK_NEW_POLICIES_LETTER">
        <source></source>
        <translation>N</translation>
    </message>
    <message id="ENFORECE_POLICIES">
        <source></source>
        <translation>Enforce Policies</translation>
    </message>
    <message id="ENFORECE_POLICIES_LETTER">
        <source></source>
        <translation>f</translation>
    </message>
    <message id="SAVE_TO_DESKTOP">
        <source></source>
        <translation>Save Log to Desktop</translation>
    </message>
    <message id="SAVE_TO_DESKTOP_LETTER">
        <source></source>
        <translation>S</translation>
    </message>
    <message id="CLOSE">
        <source></source>
        <translation>Close</translation>
    </message>
    <message id="CLOSE_LETTER">
        <source></source>
        <translation>C</translation>
    </message>
    <message id="COMMAND_RUNNING">
        <source></source>
        <translation>A command is running</translation>
    </message>
    <message id="DATE">
        <source></source>
        <translation>Date</translation>
    </message>
    <message id="TIME">
        <source></source>
        <translation>Time</translation>
    </message>
    <message id="Message_Type">
        <source></source>
        <translation>Message Type</translation>
    </message>
    <message id="Message">
        <source></source>
        <translation>Message</translation>
    </message>
    <message id="COMPONENT">
        <source></source>
        <translation>Component</translation>
    </message>
    <message id="AGENT_SERVICE_RUNNING">
        <source></source>
        <translation>The agent service is running</translation>
    </message>
    <message id="AGENT_SERVICE_SHUTTING">
        <source></source>
        <translation>The agent service is not running</translation>
    </message>
    <message id="Zel Server IP %@">
        <source></source>
        <translation>Management server: %@</translation>
    </message>
    <message id="VERSION">
        <source></source>
        <translation>version</translation>
    </message>
    <message id="LANGUAGE">
        <source></source>
        <translation>en</translation>
    </message>
    <message id="LOG_TABLE">
        <source></source>
        <translation>Agent log</translation>
    </message>
    <message id="AGENT_STATE">
        <source></source>
        <translation>State of the agent service</translation>
    </message>
    <message id="AGENT_VERSION">
        <source></source>
        <translation>Version of the agent</translation>
    </message>
    <message id="AGENT_SERVER">
        <source></source>
        <translation>Management server of the agent</translation>
    </message>
    <message id="EMPTY_TABLE">
        <source></source>
        <translation>Why the table is empty</translation>
    </message>
    <message id="FOLLOWED_LOG">
        <source></source>
        <translation>Followed log</translation>
    </message>
    <message id="NEWEST_EVENT">
        <source></source>
        <translation>Newest event</translation>
    </message>
    <message id="LASTING_STATE">
        <source></source>
        <translation>Notice</translation>
    </message>
    <message id="LOG_TITLE">
        <source></source>
        <translation>&amp;Log:</translation>
    </message>
    <message id="NO_LOG_FOLLOWED">
        <source></source>
        <translation>none</translation>
    </message>
    <message id="FOLLOWED_LOG_ROW">
        <source></source>
        <translation>%@, 1 row</translation>
    </message>
    <message id="FOLLOWED_LOG_ROWS">
        <source></source>
        <translation>%@, %@ rows</translation>
    </message>
    <message id="TOOL_OUTPUT">
        <source></source>
        <translation>Tool &amp;Output</translation>
    </message>
    <message id="NEWER_LOG">
        <source></source>
        <translation>A newer log has begun: %@. Open this window again to read it.</translation>
    </message>
    <message id="NO_LOG_FOLDER">
        <source></source>
        <translation>There is no log folder %@. Open this window again once the agent is installed and has begun a log.</translation>
    </message>
    <message id="LOG_FOLDER_UNREADABLE">
        <source></source>
        <translation>The log folder %@ cannot be read: %@</translation>
    </message>
    <message id="NO_LOG_IN_FOLDER">
        <source></source>
        <translation>There is no log of the agent in %@ yet. Open this window again once the agent has begun one.</translation>
    </message>
    <message id="LOG_UNREADABLE">
        <source></source>
        <translation>The log %@ cannot be read: %@</translation>
    </message>
    <message id="NO_ROWS_YET">
        <source></source>
        <translation>None of the lines in %@ is to be shown yet (lines read: %@).</translation>
    </message>
    <message id="SAVED">
        <source></source>
        <translation>Saved to %@</translation>
    </message>
    <message id="SAVED_UNREAD">
        <source></source>
        <translation>Saved to %@, but the log could not be read: %@</translation>
    </message>
    <message id="NOT_SAVED">
        <source></source>
        <translation>Not saved: %@</translation>
    </message>
    <message id="COMMAND_DONE">
        <source></source>
        <translation>%@: done</translation>
    </message>
    <message id="COMMAND_STATUS">
        <source></source>
        <translation>%@: ended with status %@</translation>
    </message>
    <message id="COMMAND_NOT_AUTHORIZED">
        <source></source>
        <translation>%@: not authorized</translation>
    </message>
    <message id="COMMAND_NOT_RUN">
        <source></source>
        <translation>%@: could not be run: %@</translation>
    </message>
    <message id="HELPER_NOT_REACHABLE">
        <source></source>
        <translation>%@: the helper is not reachable: %@</translation>
    </message>
</context>
</TS>
