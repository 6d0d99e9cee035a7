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
    <message id="SEND_EVENTS">
        <source></source>
        <translation>Send Events</translation>
    </message>
    <message id="CHECK_NEW_POLICIES">
        <source></source>
        <translation>Check for New Policies</translation>
    </message>
    <message id="ENFORECE_POLICIES">
        <source></source>
        <translation>Enforce Policies</translation>
    </message>
    <message id="SAVE_TO_DESKTOP">
        <source></source>
        <translation>Save Log to Desktop</translation>
    </message>
    <message id="CLOSE">
        <source></source>
        <translation>Close</translation>
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
</context>
</TS>
