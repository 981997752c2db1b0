<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>KOZAV::Host::JobView</name>
    <message numerus="yes">
        <source>ODB++ · Steps: %1 · %n layer(s)</source>
        <translation>
            <numerusform>ODB++ · Steps: %1 · %n layer</numerusform>
            <numerusform>ODB++ · Steps: %1 · %n layers</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::MainWindow</name>
    <message numerus="yes">
        <source>%n source file(s)</source>
        <translation>
            <numerusform>%n source file</numerusform>
            <numerusform>%n source files</numerusform>
        </translation>
    </message>
</context>
</TS>
