<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name></name>
    <message id="CLOSE">
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message id="EMPTY">
        <source></source>
        <translation></translation>
    </message>
</context>
</TS>
