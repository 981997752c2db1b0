<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>KOZAV::Host::DesktopNotice</name>
    <message numerus="yes">
        <source>%1: %n job(s) imported</source>
        <translation>
            <numerusform>%1: %n job imported</numerusform>
            <numerusform>%1: %n jobs imported</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ForesightView</name>
    <message numerus="yes">
        <source>&amp;Add %n unknown companies …</source>
        <translation>
            <numerusform>&amp;Add %n unknown company …</numerusform>
            <numerusform>&amp;Add %n unknown companies …</numerusform>
        </translation>
    </message>
</context>
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
<context>
    <name>KOZAV::Host::ProgressStrip</name>
    <message numerus="yes">
        <source>%n second(s) left</source>
        <translation>
            <numerusform>%n second left</numerusform>
            <numerusform>%n seconds left</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minute(s) left</source>
        <translation>
            <numerusform>%n minute left</numerusform>
            <numerusform>%n minutes left</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ResultsView</name>
    <message numerus="yes">
        <source>%n entries copied</source>
        <translation>
            <numerusform>%n entry copied</numerusform>
            <numerusform>%n entries copied</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RobotView</name>
    <message numerus="yes">
        <source>%n request(s) selected</source>
        <translation>
            <numerusform>%n request selected</numerusform>
            <numerusform>%n requests selected</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n job(s) answered by the robot</source>
        <translation>
            <numerusform>%n job answered by the robot</numerusform>
            <numerusform>%n jobs answered by the robot</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n job(s) back on the waiting list</source>
        <translation>
            <numerusform>%n job back on the waiting list</numerusform>
            <numerusform>%n jobs back on the waiting list</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n more in the messages</source>
        <translation>
            <numerusform>%n more in the messages</numerusform>
            <numerusform>%n more in the messages</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunClosing</name>
    <message numerus="yes">
        <source>An import is running: %n job(s) are left. They can be imported, or left for another time.</source>
        <translation>
            <numerusform>An import is running: %n job is left. It can be imported, or left for another time.</numerusform>
            <numerusform>An import is running: %n jobs are left. They can be imported, or left for another time.</numerusform>
        </translation>
    </message>
</context>
</TS>
