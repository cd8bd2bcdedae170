<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- The updater loads tb210_en for Chinese and tb210_zh for English: the names are crossed over.
     This one therefore has no texts, and the Chinese ones of the program show. -->
<TS version="2.1" language="zh_CN" sourcelanguage="zh_CN">
</TS>
