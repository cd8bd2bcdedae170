<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- The updater loads tb210_zh for English and tb210_en for Chinese: the names are crossed over.
     This one therefore has the English texts. -->
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>DFU_windows</name>
    <message>
        <source>MCU固件</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>请输入MCU固件路径</source>
        <translation>Please enter the MCU firmware path</translation>
    </message>
    <message>
        <source>语言切换：</source>
        <translation>Language:</translation>
    </message>
    <message>
        <source>确认</source>
        <translation>Confirm</translation>
    </message>
    <message>
        <source>已连接设备</source>
        <translation>Connected device</translation>
    </message>
    <message>
        <source>请连接设备</source>
        <translation>Please connect the device</translation>
    </message>
    <message>
        <source>提示</source>
        <translation>Tips</translation>
    </message>
    <message>
        <source>升级成功</source>
        <translation>Upgrade Successful</translation>
    </message>
    <message>
        <source>升级失败</source>
        <translation>Upgrade failed</translation>
    </message>
    <message>
        <source>打开错误</source>
        <translation>Open Error</translation>
    </message>
</context>
</TS>
