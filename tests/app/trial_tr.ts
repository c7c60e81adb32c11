<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="tr_TR" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Status: Not connected</source>
        <translation>Durum: (deneme)</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Yok (deneme)</translation>
    </message>
    <message>
        <source>Receiving %1 Hz</source>
        <translation>Hız %1 Hz (deneme)</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Hiç (deneme)</translation>
    </message>
    <message>
        <source>Scan for Devices</source>
        <translation>Tara (deneme)</translation>
    </message>
    <message>
        <source>Please run Scan first, no ports available.</source>
        <translation>Önce tara (deneme)</translation>
    </message>
</context>
</TS>
