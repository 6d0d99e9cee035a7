<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="CLOSE">
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message id="EMPTY">
        <source></source>
        <translation></translation>
    </message>
    <message id="ENGLISH_ONLY">
        <source>Only English</source>
        <translation>Only English</translation>
    </message>
</context>
</TS>
