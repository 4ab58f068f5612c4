<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Tavlopro Updater</source>
        <translation>Tavlopro Updater</translation>
    </message>
    <message>
        <source>Versions</source>
        <translation>Versions</translation>
    </message>
    <message>
        <source>Show Beta Versions</source>
        <translation>Show Beta Versions</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-weight:600;&quot;&gt;Version Info:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-weight:600;&quot;&gt;Version Info:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Please choose a version to download</source>
        <translation>Please choose a version to download</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Download</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>No Version of Tavlopro found!</source>
        <translation>No Version of Tavlopro found!</translation>
    </message>
    <message>
        <source>Error reading version description file.</source>
        <translation>Error reading version description file.</translation>
    </message>
    <message>
        <source>Connection Failed</source>
        <translation>Connection Failed</translation>
    </message>
    <message>
        <source>Connection to server could not be established:&lt;br /&gt;&lt;br /&gt;&quot;%1&quot;&lt;br /&gt;&lt;br/&gt;Please make sure that...&lt;ul&gt;&lt;li&gt;Your internet connection is up and running.&lt;li&gt;You made the right proxy settings in Tavlopro&apos;s login window (restart Tavlopro and answer &quot;No&quot; to the update question, then click on &quot;Proxy settings&quot;).&lt;/ul&gt;</source>
        <translation>Connection to server could not be established:&lt;br /&gt;&lt;br /&gt;&quot;%1&quot;&lt;br /&gt;&lt;br/&gt;Please make sure that...&lt;ul&gt;&lt;li&gt;Your internet connection is up and running.&lt;li&gt;You made the right proxy settings in Tavlopro&apos;s login window (restart Tavlopro and answer &quot;No&quot; to the update question, then click on &quot;Proxy settings&quot;).&lt;/ul&gt;</translation>
    </message>
    <message>
        <source>Update Failed</source>
        <translation>Update Failed</translation>
    </message>
    <message>
        <source>Error selecting version!</source>
        <translation>Error selecting version!</translation>
    </message>
    <message>
        <source>Downloading Tavlopro Software Update %1 %2 ...</source>
        <translation>Downloading Tavlopro Software Update %1 %2 ...</translation>
    </message>
    <message>
        <source>%1 MB downloaded</source>
        <translation>%1 MB downloaded</translation>
    </message>
    <message>
        <source>%1 of %2 MB downloaded</source>
        <translation>%1 of %2 MB downloaded</translation>
    </message>
    <message>
        <source>Download aborted!</source>
        <translation>Download aborted!</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Update ready to install!</source>
        <translation>Update ready to install!</translation>
    </message>
    <message>
        <source>Install Update and Relaunch Tavlopro...</source>
        <translation>Install Update and Relaunch Tavlopro...</translation>
    </message>
    <message>
        <source>Error unzipping update!

%1</source>
        <translation>Error unzipping update!

%1</translation>
    </message>
    <message>
        <source>Extracting update...</source>
        <translation>Extracting update ...</translation>
    </message>
    <message>
        <source>Installing update...</source>
        <translation>Installing update ...</translation>
    </message>
    <message>
        <source>Please wait!</source>
        <translation>Please wait!</translation>
    </message>
    <message>
        <source>Tavlopro Update</source>
        <translation>Tavlopro Update</translation>
    </message>
    <message>
        <source>The destination path seems wrong. Aborting!</source>
        <translation>The destination path seems wrong. Aborting!</translation>
    </message>
    <message>
        <source>We need to clean the old version first. Do you agree to delete all contents in:

%1 </source>
        <translation>We need to clean the old version first. Do you agree to delete all contents in:

%1 </translation>
    </message>
    <message>
        <source>Couldn&apos;t copy updated files. Aborting!

Error:
%1</source>
        <translation>Couldn&apos;t copy updated files. Aborting!

Error:
%1</translation>
    </message>
    <message>
        <source>Error starting Updater</source>
        <translation>Error starting Updater</translation>
    </message>
    <message>
        <source>To update to newest version (%1) you need to update you operating system to at least (%2 %3.%4)</source>
        <translation>To update to newest version (%1) you need to update you operating system to at least (%2 %3.%4)</translation>
    </message>
</context>
</TS>
