<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>KOZAV::Host::AboutDialog</name>
    <message>
        <source>unreachable</source>
        <translation>无法连接</translation>
    </message>
    <message>
        <source>About this program</source>
        <translation>关于本程序</translation>
    </message>
    <message>
        <source>Client</source>
        <translation>客户端</translation>
    </message>
    <message>
        <source>Qt</source>
        <translation>Qt</translation>
    </message>
    <message>
        <source>System</source>
        <translation>操作系统</translation>
    </message>
    <message>
        <source>Database</source>
        <translation>数据库</translation>
    </message>
    <message>
        <source>File store</source>
        <translation>文件库</translation>
    </message>
    <message>
        <source>Site</source>
        <translation>站点</translation>
    </message>
    <message>
        <source>Configuration</source>
        <translation>配置</translation>
    </message>
    <message>
        <source>Place of the database</source>
        <translation>数据库位置</translation>
    </message>
    <message>
        <source>Place of the file store</source>
        <translation>文件库位置</translation>
    </message>
    <message>
        <source>Upload cache</source>
        <translation>上传缓存</translation>
    </message>
    <message>
        <source>Download cache</source>
        <translation>下载缓存</translation>
    </message>
    <message>
        <source>User&apos;s own settings</source>
        <translation>个人设置</translation>
    </message>
    <message>
        <source>Log file</source>
        <translation>日志文件</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>what, its value</comment>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>Job data management</source>
        <translation>料号数据管理</translation>
    </message>
    <message>
        <source>C&amp;opy</source>
        <translation>复制(&amp;O)</translation>
    </message>
    <message>
        <source>local folder</source>
        <translation>本地文件夹</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::AddCompaniesDialog</name>
    <message>
        <source>Add companies</source>
        <translation>添加公司</translation>
    </message>
    <message>
        <source>Give each company the code that the names of its jobs begin with. One without a code is not added.</source>
        <translation>请为每个公司填写代码，料号名称以该代码开头。没有填写代码的公司不会添加。</translation>
    </message>
    <message>
        <source>A&amp;dd</source>
        <translation>添加(&amp;D)</translation>
    </message>
    <message>
        <source>Code of %1</source>
        <translation>%1 的代码</translation>
    </message>
    <message>
        <source>code</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>%1: a code has 1 to %2 characters, none of them a blank, / or \.</source>
        <translation>%1：代码为 1 至 %2 个字符，不能含空白、/ 或 \。</translation>
    </message>
    <message>
        <source>%1 cannot be the name of a company.</source>
        <translation>%1 不能作为公司名称。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::CamImport</name>
    <message>
        <source>the job information cannot be read</source>
        <translation>料号信息无法识别</translation>
    </message>
    <message>
        <source>%1 is being opened; please wait</source>
        <translation>%1 正在导入，请稍候</translation>
    </message>
    <message>
        <source>the database names no stored file of this job</source>
        <translation>数据库中没有该料号的存储文件</translation>
    </message>
    <message>
        <source>no work folder can be made in the download cache</source>
        <translation>下载缓存中无法建立工作目录</translation>
    </message>
    <message>
        <source>the stored file %1 cannot be fetched</source>
        <translation>存储文件 %1 取不回来</translation>
    </message>
    <message>
        <source>the stored file %1 does not have the content with which the job %2 was imported</source>
        <translation>存储文件 %1 与料号 %2 导入时的内容不一致</translation>
    </message>
    <message>
        <source>cancelled</source>
        <translation>已取消</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::CompaniesModel</name>
    <message>
        <source>Code</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>名称</translation>
    </message>
    <message>
        <source>Jobs</source>
        <translation>料号数</translation>
    </message>
    <message>
        <source>Last batch</source>
        <translation>最近批次</translation>
    </message>
    <message>
        <source>Held by</source>
        <translation>占用者</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::CompaniesView</name>
    <message>
        <source>Companies</source>
        <translation>公司</translation>
    </message>
    <message>
        <source>Add a &amp;company</source>
        <translation>添加公司(&amp;C)</translation>
    </message>
    <message>
        <source>Code of the new company</source>
        <translation>新公司的代码</translation>
    </message>
    <message>
        <source>prefix of its system jobs</source>
        <translation>系统料号的前缀</translation>
    </message>
    <message>
        <source>Name of the new company</source>
        <translation>新公司的名称</translation>
    </message>
    <message>
        <source>as its folder in a batch is called</source>
        <translation>与批量目录中的文件夹同名</translation>
    </message>
    <message>
        <source>C&amp;ode:</source>
        <translation>代码(&amp;O)：</translation>
    </message>
    <message>
        <source>&amp;Name:</source>
        <translation>名称(&amp;N)：</translation>
    </message>
    <message>
        <source>A&amp;dd</source>
        <translation>添加(&amp;D)</translation>
    </message>
    <message>
        <source>Rena&amp;me</source>
        <translation>改名(&amp;M)</translation>
    </message>
    <message>
        <source>Gives the chosen company another name; its code and its jobs stay</source>
        <translation>为所选公司改名；代码和料号不变</translation>
    </message>
    <message>
        <source>The company &quot;%1&quot; has been added.</source>
        <translation>已添加公司“%1”。</translation>
    </message>
    <message>
        <source>The company &quot;%1&quot; is now called &quot;%2&quot;.</source>
        <translation>公司“%1”已改名为“%2”。</translation>
    </message>
    <message>
        <source>There are no companies yet. Jobs are imported for a company: add the first one, with the name that its folder in a batch has.</source>
        <translation>还没有公司。料号按公司导入：请添加第一家公司，名称与批量目录中其文件夹的名称相同。</translation>
    </message>
    <message>
        <source>The companies cannot be read: %1</source>
        <translation>无法读取公司：%1</translation>
    </message>
    <message>
        <source>A code has 1 to %1 characters, none of them a blank, / or \.</source>
        <translation>代码为 1 到 %1 个字符，不含空格、/ 或 \。</translation>
    </message>
    <message>
        <source>A name has 1 to %1 characters, none of them a control character.</source>
        <translation>名称为 1 到 %1 个字符，不含控制字符。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::DesktopNotice</name>
    <message>
        <source>The import waits for an answer</source>
        <translation>导入正在等待您的确认</translation>
    </message>
    <message>
        <source>The import has ended</source>
        <translation>导入已结束</translation>
    </message>
    <message numerus="yes">
        <source>%1: %n job(s) imported</source>
        <translation>
            <numerusform>%1：已导入 %n 个料号</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::EmbeddedRobot</name>
    <message>
        <source>the robot&apos;s address %1 is not one of this machine</source>
        <translation>机器人地址 %1 不是本机地址</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::FirstRunPage</name>
    <message>
        <source>First start</source>
        <translation>首次启动</translation>
    </message>
    <message>
        <source>There is no site yet: a place for companies, jobs and their files. What is to be used? Nothing is made before you choose.</source>
        <translation>还没有站点（存放公司、料号及其文件的地方）。要使用哪一种？在您选择之前不会创建任何内容。</translation>
    </message>
    <message>
        <source>A new site on &amp;this machine, without a server</source>
        <translation>本机上的新站点，不需要服务器(&amp;T)</translation>
    </message>
    <message>
        <source>A site on &amp;servers: MariaDB for the rows, MongoDB for the files</source>
        <translation>服务器上的站点：MariaDB 存记录，MongoDB 存文件(&amp;S)</translation>
    </message>
    <message>
        <source>A site that is there: &amp;open its configuration file</source>
        <translation>已有的站点：打开其配置文件(&amp;O)</translation>
    </message>
    <message>
        <source>Choose …</source>
        <translation>选择 …</translation>
    </message>
    <message>
        <source>Choose: %1</source>
        <translation>选择：%1</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>选择文件夹</translation>
    </message>
    <message>
        <source>Choose a file</source>
        <translation>选择文件</translation>
    </message>
    <message>
        <source>Configuration file</source>
        <translation>配置文件</translation>
    </message>
    <message>
        <source>Folder of the data</source>
        <translation>数据文件夹</translation>
    </message>
    <message>
        <source>&amp;Configuration file:</source>
        <translation>配置文件(&amp;C)：</translation>
    </message>
    <message>
        <source>&amp;Folder of the data:</source>
        <translation>数据文件夹(&amp;F)：</translation>
    </message>
    <message>
        <source>Rows on a &amp;MariaDB or MySQL server</source>
        <translation>记录存于 MariaDB 或 MySQL 服务器(&amp;M)</translation>
    </message>
    <message>
        <source>Server:</source>
        <translation>服务器：</translation>
    </message>
    <message>
        <source>Port:</source>
        <translation>端口：</translation>
    </message>
    <message>
        <source>Database:</source>
        <translation>数据库：</translation>
    </message>
    <message>
        <source>Account:</source>
        <translation>帐号：</translation>
    </message>
    <message>
        <source>File with the password:</source>
        <translation>密码文件：</translation>
    </message>
    <message>
        <source>its first line; readable for you alone</source>
        <translation>取其首行；仅您本人可读</translation>
    </message>
    <message>
        <source>Certificate of the authority:</source>
        <translation>签发机构的证书：</translation>
    </message>
    <message>
        <source>for a server on another machine</source>
        <translation>用于另一台机器上的服务器</translation>
    </message>
    <message>
        <source>Without encryption, also to another machine</source>
        <translation>不加密，对另一台机器也如此</translation>
    </message>
    <message>
        <source>Files on a Mongo&amp;DB server</source>
        <translation>文件存于 MongoDB 服务器(&amp;D)</translation>
    </message>
    <message>
        <source>URI:</source>
        <translation>URI：</translation>
    </message>
    <message>
        <source>Configuration file of the site</source>
        <translation>站点的配置文件</translation>
    </message>
    <message>
        <source>Con&amp;figuration file:</source>
        <translation>配置文件(&amp;F)：</translation>
    </message>
    <message>
        <source>This client opens that site at later starts as well. &quot;zav_admin&quot; is told of it with --config.</source>
        <translation>本客户端以后启动时也打开该站点。使用“zav_admin”时以 --config 指定。</translation>
    </message>
    <message>
        <source>T&amp;est the connections</source>
        <translation>测试连接(&amp;E)</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>退出(&amp;Q)</translation>
    </message>
    <message>
        <source>Open the s&amp;ite</source>
        <translation>打开站点(&amp;I)</translation>
    </message>
    <message>
        <source>Make the s&amp;ite</source>
        <translation>创建站点(&amp;I)</translation>
    </message>
    <message>
        <source>Made there: %1</source>
        <translation>将创建：%1</translation>
    </message>
    <message>
        <source>Not accepted: %1</source>
        <translation>不接受：%1</translation>
    </message>
    <message>
        <source>Testing the connections …</source>
        <translation>正在测试连接 …</translation>
    </message>
    <message>
        <source>no site there yet (%1)</source>
        <translation>那里还没有站点（%1）</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>The site cannot be opened: %1</source>
        <translation>无法打开站点：%1</translation>
    </message>
    <message>
        <source>The site is being made …</source>
        <translation>正在创建站点 …</translation>
    </message>
    <message>
        <source>The site could not be made: %1</source>
        <translation>无法创建站点：%1</translation>
    </message>
    <message>
        <source>First start: there is no site yet, and what is to be used is asked for</source>
        <translation>首次启动：还没有站点，正在询问要使用的站点</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ForesightModel</name>
    <message>
        <source>no</source>
        <translation>否</translation>
    </message>
    <message>
        <source>not known yet</source>
        <translation>尚不清楚</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>是</translation>
    </message>
    <message>
        <source>yes, with warnings</source>
        <translation>是，有警告</translation>
    </message>
    <message>
        <source>Company</source>
        <translation>公司</translation>
    </message>
    <message>
        <source>Entry</source>
        <translation>条目</translation>
    </message>
    <message>
        <source>Imported?</source>
        <translation>会导入？</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>大小</translation>
    </message>
    <message>
        <source>Why</source>
        <translation>原因</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ForesightView</name>
    <message>
        <source>Import preview</source>
        <translation>导入预览</translation>
    </message>
    <message>
        <source>Nothing is chosen yet. Choose a batch directory, a job archive or a job folder in the import panel: what its import will come to is shown here before it begins.</source>
        <translation>尚未选择来源。请在导入面板中选择批量目录、料号压缩包或料号文件夹：导入开始前，这里会显示导入的预计结果。</translation>
    </message>
    <message>
        <source>Progress of the look</source>
        <translation>预览进度</translation>
    </message>
    <message>
        <source>&amp;Look again</source>
        <translation>重新查看(&amp;L)</translation>
    </message>
    <message>
        <source>Entries that are shown</source>
        <translation>显示的条目</translation>
    </message>
    <message>
        <source>All entries</source>
        <translation>全部条目</translation>
    </message>
    <message>
        <source>Will not be imported</source>
        <translation>不会导入</translation>
    </message>
    <message>
        <source>With warnings</source>
        <translation>有警告</translation>
    </message>
    <message>
        <source>Will be imported</source>
        <translation>会导入</translation>
    </message>
    <message>
        <source>Not known yet</source>
        <translation>尚不清楚</translation>
    </message>
    <message>
        <source>Search the entries</source>
        <translation>搜索条目</translation>
    </message>
    <message>
        <source>company, entry or reason</source>
        <translation>公司、条目或原因</translation>
    </message>
    <message>
        <source>Entries of the source</source>
        <translation>来源中的条目</translation>
    </message>
    <message>
        <source>About the selected entry</source>
        <translation>所选条目的说明</translation>
    </message>
    <message>
        <source>Looking through %1</source>
        <translation>正在查看 %1</translation>
    </message>
    <message>
        <source>%1, as it was before the import</source>
        <translation>%1（导入之前的情况）</translation>
    </message>
    <message>
        <source>%1: all will be imported</source>
        <translation>%1：全部会导入</translation>
    </message>
    <message>
        <source>%1: %2 of %3 will be imported</source>
        <translation>%1：%3 个条目中有 %2 个会导入</translation>
    </message>
    <message>
        <source>will be imported: %1</source>
        <translation>会导入：%1</translation>
    </message>
    <message>
        <source>of these with warnings: %1</source>
        <translation>其中有警告：%1</translation>
    </message>
    <message>
        <source>will not be imported: %1</source>
        <translation>不会导入：%1</translation>
    </message>
    <message>
        <source>not known yet: %1</source>
        <translation>尚不清楚：%1</translation>
    </message>
    <message>
        <source>about %1 s</source>
        <translation>约 %1 秒</translation>
    </message>
    <message>
        <source>time not known: no run before tells</source>
        <translation>所需时间未知：没有可参考的导入记录</translation>
    </message>
    <message numerus="yes">
        <source>&amp;Add %n unknown companies …</source>
        <translation>
            <numerusform>添加 %n 个未知公司(&amp;A) …</numerusform>
        </translation>
    </message>
    <message>
        <source>Companies that the site does not have: %1</source>
        <translation>站点中没有的公司：%1</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>未知</translation>
    </message>
    <message>
        <source>Space in %1: %2 needed, %3 free</source>
        <translation>%1 的空间：需要 %2，剩余 %3</translation>
    </message>
    <message>
        <source>Space in %1: %2 to %3 needed, %4 free</source>
        <translation>%1 的空间：需要 %2 至 %3，剩余 %4</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::HelpWindow</name>
    <message>
        <source>How it works</source>
        <translation>使用说明</translation>
    </message>
    <message>
        <source>Importing a batch</source>
        <translation>批量导入</translation>
    </message>
    <message>
        <source>A batch directory has a folder for each company, named as the company is; in it lie its jobs, as folders or as .zip, .rar, .tgz or .kos archives. Choose the directory in the import panel, then press its import button. A company must be known to the site before.</source>
        <translation>批量目录中每个公司有一个以公司名称命名的文件夹，其中是该公司的料号：料号文件夹，或 .zip、.rar、.tgz、.kos 压缩包。在导入面板中选择该目录，然后按“导入”。公司必须事先在站点中存在。</translation>
    </message>
    <message>
        <source>What became of it</source>
        <translation>导入结果</translation>
    </message>
    <message>
        <source>The panel&apos;s own messages say only that it has ended. What became of each job, and what to do about it, the results say, and the messages at the bottom of the window.</source>
        <translation>面板自己的提示只说明已经结束。每个料号的结果以及应当如何处理，请看“结果”页和窗口底部的消息。</translation>
    </message>
    <message>
        <source>Sending a job to the robot</source>
        <translation>把料号提交给机器人</translation>
    </message>
    <message>
        <source>Open a waiting job: its row is selected in the job list. Press the list&apos;s import button and confirm. The job is opened, its layers are shown, and the robot gets the request.</source>
        <translation>打开一个等待导入的料号：它在料号列表中已被选中。按列表的“导入”并确认。料号随即打开并显示叠层，机器人收到请求。</translation>
    </message>
    <message>
        <source>Keys</source>
        <translation>按键</translation>
    </message>
    <message>
        <source>the pages in the middle</source>
        <translation>中间的各页</translation>
    </message>
    <message>
        <source>the next and the previous part of the window</source>
        <translation>窗口的下一部分和上一部分</translation>
    </message>
    <message>
        <source>the next and the previous field or button</source>
        <translation>下一个和上一个输入栏或按钮</translation>
    </message>
    <message>
        <source>presses a button</source>
        <translation>按下按钮</translation>
    </message>
    <message>
        <source>opens the selected row</source>
        <translation>打开选中的行</translation>
    </message>
    <message>
        <source>searches the page</source>
        <translation>在本页查找</translation>
    </message>
    <message>
        <source>copies the selected rows</source>
        <translation>复制选中的行</translation>
    </message>
    <message>
        <source>reads everything again</source>
        <translation>重新读取全部内容</translation>
    </message>
    <message>
        <source>ends the program</source>
        <translation>退出程序</translation>
    </message>
    <message>
        <source>help on what is in front</source>
        <translation>关于当前内容的使用说明</translation>
    </message>
    <message>
        <source>← &amp;Back</source>
        <translation>← 后退(&amp;B)</translation>
    </message>
    <message>
        <source>&amp;Forward →</source>
        <translation>前进(&amp;F) →</translation>
    </message>
    <message>
        <source>&amp;Contents</source>
        <translation>目录(&amp;C)</translation>
    </message>
    <message>
        <source>&amp;Keys</source>
        <translation>按键(&amp;K)</translation>
    </message>
    <message>
        <source>&amp;Open in the browser</source>
        <translation>在浏览器中打开(&amp;O)</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobListDock</name>
    <message>
        <source>Job import</source>
        <translation>料号导入</translation>
    </message>
    <message>
        <source>Job import %1</source>
        <translation>料号导入 %1</translation>
    </message>
    <message>
        <source>Job import: %1</source>
        <translation>料号导入：%1</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobListModel</name>
    <message>
        <source>Waiting</source>
        <translation>等待导入</translation>
    </message>
    <message>
        <source>Import not ended</source>
        <translation>导入未完成</translation>
    </message>
    <message>
        <source>With the robot</source>
        <translation>处理中</translation>
    </message>
    <message>
        <source>Storing failed</source>
        <translation>入库失败</translation>
    </message>
    <message>
        <source>Voided</source>
        <translation>已作废</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobTable</name>
    <message>
        <source>Copy row</source>
        <translation>复制该行</translation>
    </message>
    <message>
        <source>Copy generated name</source>
        <translation>复制系统料号</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobView</name>
    <message>
        <source>No job is open</source>
        <translation>没有打开的料号</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>取消(&amp;C)</translation>
    </message>
    <message>
        <source>%1 is being opened</source>
        <translation>%1 正在打开</translation>
    </message>
    <message numerus="yes">
        <source>ODB++ · Steps: %1 · %n layer(s)</source>
        <translation>
            <numerusform>ODB++ · Step: %1 · %n 层</numerusform>
        </translation>
    </message>
    <message>
        <source>Warning: %1</source>
        <translation>警告：%1</translation>
    </message>
    <message>
        <source>%1 cannot be opened</source>
        <translation>%1 无法打开</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobsModel</name>
    <message>
        <source>Company</source>
        <translation>公司名</translation>
    </message>
    <message>
        <source>Job</source>
        <translation>原始料号</translation>
    </message>
    <message>
        <source>Generated name</source>
        <translation>系统料号</translation>
    </message>
    <message>
        <source>Stored file</source>
        <translation>存储文件</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>大小</translation>
    </message>
    <message>
        <source>Imported</source>
        <translation>导入时间</translation>
    </message>
    <message>
        <source>State</source>
        <translation>状态</translation>
    </message>
    <message>
        <source>Batch</source>
        <translation>批量</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::JobsView</name>
    <message>
        <source>Source files</source>
        <translation>原始文件</translation>
    </message>
    <message>
        <source>Reading …</source>
        <translation>正在读取 …</translation>
    </message>
    <message>
        <source>Upper and lower case are different.</source>
        <translation>区分大小写。</translation>
    </message>
    <message>
        <source>Generated name begins with</source>
        <translation>系统料号前缀</translation>
    </message>
    <message>
        <source>Job begins with</source>
        <translation>原始料号前缀</translation>
    </message>
    <message>
        <source>Batch</source>
        <translation>批量</translation>
    </message>
    <message>
        <source>Number of a batch; 0 for jobs that were imported by themselves.</source>
        <translation>批量号；单个导入的料号为 0。</translation>
    </message>
    <message>
        <source>Company</source>
        <translation>公司名</translation>
    </message>
    <message>
        <source>All companies</source>
        <translation>全部公司</translation>
    </message>
    <message>
        <source>State</source>
        <translation>状态</translation>
    </message>
    <message>
        <source>Time of the import</source>
        <translation>导入时间</translation>
    </message>
    <message>
        <source>From this day on</source>
        <translation>从此日期起</translation>
    </message>
    <message>
        <source>Up to this day</source>
        <translation>到此日期止</translation>
    </message>
    <message>
        <source>&amp;Clear search</source>
        <translation>清除搜索(&amp;C)</translation>
    </message>
    <message>
        <source>All states</source>
        <translation>全部状态</translation>
    </message>
    <message>
        <source>Any time</source>
        <translation>任何时间</translation>
    </message>
    <message>
        <source>Today</source>
        <translation>今天</translation>
    </message>
    <message>
        <source>The last 7 days</source>
        <translation>最近 7 天</translation>
    </message>
    <message>
        <source>The last 30 days</source>
        <translation>最近 30 天</translation>
    </message>
    <message>
        <source>From … to …</source>
        <translation>自 … 至 …</translation>
    </message>
    <message>
        <source>No jobs yet. Choose a batch directory or a single source on the left and import it.</source>
        <translation>还没有料号。请在左侧选择批量目录或单个原始数据并导入。</translation>
    </message>
    <message>
        <source>No job is like that. Names are compared from their beginning, and upper and lower case are different.</source>
        <translation>没有符合条件的料号。名称按前缀比较，且区分大小写。</translation>
    </message>
    <message>
        <source>More than %1 jobs</source>
        <translation>超过 %1 个料号</translation>
    </message>
    <message>
        <source>Jobs: %1</source>
        <translation>料号：%1 个</translation>
    </message>
    <message>
        <source>The jobs cannot be read: %1</source>
        <translation>无法读取料号：%1</translation>
    </message>
    <message>
        <source>The jobs cannot be read at the moment.</source>
        <translation>目前无法读取料号。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::LayerStackView</name>
    <message>
        <source>Layer stack</source>
        <translation>叠层</translation>
    </message>
    <message>
        <source>Layers outside the board</source>
        <translation>板外层</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::MainDocks</name>
    <message>
        <source>Source data import</source>
        <translation>原始数据导入</translation>
    </message>
    <message>
        <source>Waiting for import</source>
        <translation>等待导入</translation>
    </message>
    <message>
        <source>Layer stack of the job</source>
        <translation>料号叠层</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>消息</translation>
    </message>
    <message>
        <source>Parts of the window behind one another</source>
        <translation>窗口中叠放的部分</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::MainMenu</name>
    <message>
        <source>&amp;File</source>
        <translation>文件(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>编辑(&amp;E)</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>视图(&amp;V)</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>帮助(&amp;H)</translation>
    </message>
    <message>
        <source>&amp;Refresh</source>
        <translation>刷新(&amp;R)</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>退出(&amp;Q)</translation>
    </message>
    <message>
        <source>&amp;Copy rows</source>
        <translation>复制行(&amp;C)</translation>
    </message>
    <message>
        <source>&amp;Find on the page</source>
        <translation>在本页查找(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;Next part of the window</source>
        <translation>窗口的下一部分(&amp;N)</translation>
    </message>
    <message>
        <source>&amp;Previous part of the window</source>
        <translation>窗口的上一部分(&amp;P)</translation>
    </message>
    <message>
        <source>&amp;How it works</source>
        <translation>使用说明(&amp;H)</translation>
    </message>
    <message>
        <source>No row is selected here</source>
        <translation>这里没有选中的行</translation>
    </message>
    <message>
        <source>There is nothing to search on this page</source>
        <translation>本页没有可查找的内容</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::MainWindow</name>
    <message>
        <source>First start: a new site has been made: %1</source>
        <translation>首次启动，已新建站点：%1</translation>
    </message>
    <message>
        <source>Job data management</source>
        <translation>料号数据管理</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>Source files</source>
        <translation>原始文件</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>消息</translation>
    </message>
    <message>
        <source>%1 has been sent to the robot</source>
        <translation>%1 已提交机器人</translation>
    </message>
    <message>
        <source>%1 cannot be opened: %2</source>
        <translation>%1 无法打开：%2</translation>
    </message>
    <message>
        <source>The readme.json of %1 has been put back</source>
        <translation>%1 的 readme.json 已放回</translation>
    </message>
    <message>
        <source>The readme.json of %1 could not be kept: %2</source>
        <translation>%1 的 readme.json 未能保留：%2</translation>
    </message>
    <message>
        <source>%1 was not imported: %2</source>
        <translation>%1 未导入：%2</translation>
    </message>
    <message>
        <source>Whether %1 was imported is not known: %2</source>
        <translation>%1 是否导入未知：%2</translation>
    </message>
    <message>
        <source>%1 was left out: %2</source>
        <translation>%1 已跳过：%2</translation>
    </message>
    <message>
        <source>%1 is a link that leads out of the batch directory: %2</source>
        <translation>%1 是指向批量目录之外的链接：%2</translation>
    </message>
    <message numerus="yes">
        <source>%n source file(s)</source>
        <translation>
            <numerusform>共 %n 个原始文件</numerusform>
        </translation>
    </message>
    <message>
        <source>More than %1 source files</source>
        <translation>超过 %1 个原始文件</translation>
    </message>
    <message>
        <source>%1 is no longer in the database</source>
        <translation>%1 已不在数据库中</translation>
    </message>
    <message>
        <source>&amp;About this program …</source>
        <translation>关于本程序(&amp;A)…</translation>
    </message>
    <message>
        <source>Robot</source>
        <translation>机器人</translation>
    </message>
    <message>
        <source>Companies</source>
        <translation>公司</translation>
    </message>
    <message>
        <source>Results</source>
        <translation>结果</translation>
    </message>
    <message>
        <source>Import preview</source>
        <translation>导入预览</translation>
    </message>
    <message>
        <source>&amp;Settings …</source>
        <translation>设置(&amp;S) …</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::Pages</name>
    <message>
        <source>Pages</source>
        <translation>页面</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::PanelPlace</name>
    <message>
        <source>Add a &amp;company…</source>
        <translation>添加公司(&amp;C)…</translation>
    </message>
    <message>
        <source>&amp;Understood</source>
        <translation>知道了(&amp;U)</translation>
    </message>
    <message>
        <source>Source data import</source>
        <translation>原始数据导入</translation>
    </message>
    <message>
        <source>Company of the single import</source>
        <translation>单个导入的公司</translation>
    </message>
    <message>
        <source>Chosen archive or job folder</source>
        <translation>所选的压缩包或料号文件夹</translation>
    </message>
    <message>
        <source>Chosen batch directory</source>
        <translation>所选的批量目录</translation>
    </message>
    <message>
        <source>Import the batch</source>
        <translation>批量导入</translation>
    </message>
    <message>
        <source>Import the single source</source>
        <translation>导入单个原始数据</translation>
    </message>
    <message>
        <source>Clear the batch directory&apos;s field</source>
        <translation>清空批量目录</translation>
    </message>
    <message>
        <source>Clear the single source&apos;s fields</source>
        <translation>清空单个导入的内容</translation>
    </message>
    <message>
        <source>batch directory %1</source>
        <translation>批量目录 %1</translation>
    </message>
    <message>
        <source>single source %1</source>
        <translation>单个原始数据 %1</translation>
    </message>
    <message>
        <source>company %1</source>
        <translation>公司 %1</translation>
    </message>
    <message>
        <source>The companies of the site have changed, and the panel with them. Choose again: %1</source>
        <translation>站点的公司已更改，导入面板已随之更新。请重新选择：%1</translation>
    </message>
    <message>
        <source>There is no company yet. Jobs are imported for a company: add one first.</source>
        <translation>还没有公司。料号要导入到公司名下：请先添加公司。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ProgressStrip</name>
    <message>
        <source>Progress of the import</source>
        <translation>导入进度</translation>
    </message>
    <message>
        <source>finishing …</source>
        <translation>正在收尾 …</translation>
    </message>
    <message>
        <source>copying %1 … (nothing moves until it is copied)</source>
        <translation>正在复制 %1 …（复制完成前画面不动）</translation>
    </message>
    <message>
        <source>packing %1</source>
        <translation>正在打包 %1</translation>
    </message>
    <message>
        <source>storing %1</source>
        <translation>正在入库 %1</translation>
    </message>
    <message>
        <source>entering %1</source>
        <translation>正在登记 %1</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 / %2</translation>
    </message>
    <message>
        <source>%1/s</source>
        <translation>%1/秒</translation>
    </message>
    <message numerus="yes">
        <source>%n second(s) left</source>
        <translation>
            <numerusform>剩余 %n 秒</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minute(s) left</source>
        <translation>
            <numerusform>剩余 %n 分钟</numerusform>
        </translation>
    </message>
    <message>
        <source>The import was stopped; the window closes when the panel is done.</source>
        <translation>导入已停止，面板结束后窗口将关闭。</translation>
    </message>
    <message>
        <source>You will be asked about closing the window after the current job.</source>
        <translation>当前料号完成后将询问是否关闭窗口。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::Reasons</name>
    <message>
        <source>The site has no company of that name.</source>
        <translation>站点中没有这个名称的公司。</translation>
    </message>
    <message>
        <source>Add the company, or give the folder the name of one, and import again.</source>
        <translation>请先添加该公司，或把文件夹改为已有公司的名称，然后重新导入。</translation>
    </message>
    <message>
        <source>It is no job archive by its name: only .zip, .rar, .tgz and .kos, so written, are imported.</source>
        <translation>从文件名看不是料号压缩包：只导入小写后缀 .zip、.rar、.tgz 和 .kos。</translation>
    </message>
    <message>
        <source>Give it one of these suffixes, in small letters, if it is such an archive.</source>
        <translation>如果确实是这类压缩包，请改为其中一种小写后缀。</translation>
    </message>
    <message>
        <source>It is neither a file nor a folder that can be read.</source>
        <translation>既不是文件，也不是可读取的文件夹。</translation>
    </message>
    <message>
        <source>Take it out of the batch directory, or mend the link.</source>
        <translation>请把它移出批量目录，或修复链接。</translation>
    </message>
    <message>
        <source>A file beside the company folders belongs to no company.</source>
        <translation>与公司文件夹并列的文件不属于任何公司。</translation>
    </message>
    <message>
        <source>Move it into the folder of its company.</source>
        <translation>请把它移入所属公司的文件夹。</translation>
    </message>
    <message>
        <source>Hidden entries are not imported.</source>
        <translation>隐藏的文件和文件夹不会导入。</translation>
    </message>
    <message>
        <source>Rename it, without the dot, if it is a job.</source>
        <translation>如果它是料号，请去掉名称开头的点。</translation>
    </message>
    <message>
        <source>Its name is not valid UTF-8, so that the import does not see it.</source>
        <translation>名称不是有效的 UTF-8，导入看不到它。</translation>
    </message>
    <message>
        <source>Rename it.</source>
        <translation>请重新命名。</translation>
    </message>
    <message>
        <source>A link leads out of the batch directory.</source>
        <translation>链接指向批量目录之外。</translation>
    </message>
    <message>
        <source>Copy what it leads to into the batch directory.</source>
        <translation>请把链接指向的内容复制到批量目录中。</translation>
    </message>
    <message>
        <source>The panel imports nothing of this kind as a single source, and says nothing of it.</source>
        <translation>面板不会把这种文件作为单个料号导入，也不会提示。</translation>
    </message>
    <message>
        <source>Pack it as .zip, .rar or .tgz, or unpack it into a folder.</source>
        <translation>请打包为 .zip、.rar 或 .tgz，或解压成文件夹。</translation>
    </message>
    <message>
        <source>Nothing was chosen that could be imported.</source>
        <translation>没有选择可以导入的内容。</translation>
    </message>
    <message>
        <source>Choose a source.</source>
        <translation>请先选择导入来源。</translation>
    </message>
    <message>
        <source>The folder cannot be listed.</source>
        <translation>无法列出文件夹内容。</translation>
    </message>
    <message>
        <source>Have the permissions of the folder looked at.</source>
        <translation>请检查该文件夹的权限。</translation>
    </message>
    <message>
        <source>The source cannot be read, or is no regular file.</source>
        <translation>源文件无法读取，或不是普通文件。</translation>
    </message>
    <message>
        <source>Have its permissions looked at, and import it again.</source>
        <translation>请检查权限后重新导入。</translation>
    </message>
    <message>
        <source>It was gone when the import came to it.</source>
        <translation>导入进行到它时，它已不存在。</translation>
    </message>
    <message>
        <source>Put it back and import it again.</source>
        <translation>请放回后重新导入。</translation>
    </message>
    <message>
        <source>Its copy could not be made, or is not all of it.</source>
        <translation>复制未能完成。</translation>
    </message>
    <message>
        <source>Look at the space in the upload cache and at the source, and import it again.</source>
        <translation>请检查上传缓存所在磁盘的空间和源文件，然后重新导入。</translation>
    </message>
    <message>
        <source>The import did not come to it.</source>
        <translation>导入没有进行到它。</translation>
    </message>
    <message>
        <source>Import it again.</source>
        <translation>请重新导入。</translation>
    </message>
    <message>
        <source>The import ended before its last row was written.</source>
        <translation>导入在最后一条记录写入之前结束。</translation>
    </message>
    <message>
        <source>The import was stopped before it was done.</source>
        <translation>在它完成之前，导入被停止。</translation>
    </message>
    <message>
        <source>Another import holds the company.</source>
        <translation>另一个导入正在占用该公司。</translation>
    </message>
    <message>
        <source>Import it again when the other one has ended.</source>
        <translation>请等对方结束后重新导入。</translation>
    </message>
    <message>
        <source>There is no space left.</source>
        <translation>空间不足。</translation>
    </message>
    <message>
        <source>Make room on the disk or the server, and import it again.</source>
        <translation>请在磁盘或服务器上腾出空间后重新导入。</translation>
    </message>
    <message>
        <source>The database was held by another program for too long.</source>
        <translation>数据库长时间被其他程序占用。</translation>
    </message>
    <message>
        <source>Look for what works on the site, and import it again.</source>
        <translation>请查明哪个程序正在使用站点，然后重新导入。</translation>
    </message>
    <message>
        <source>A server of the site did not answer.</source>
        <translation>站点的服务器没有应答。</translation>
    </message>
    <message>
        <source>Have servers and network looked at, and import it again.</source>
        <translation>请检查服务器和网络，然后重新导入。</translation>
    </message>
    <message>
        <source>It was not tried: the import had given up waiting for the site.</source>
        <translation>没有尝试：导入已放弃等待站点。</translation>
    </message>
    <message>
        <source>Import it again when the site can be reached.</source>
        <translation>站点恢复后请重新导入。</translation>
    </message>
    <message>
        <source>The answer of the site was lost: it may have the job.</source>
        <translation>站点的应答丢失：料号可能已经入库。</translation>
    </message>
    <message>
        <source>Look whether the job is there before it is imported again.</source>
        <translation>请先确认料号是否已存在，再决定是否重新导入。</translation>
    </message>
    <message>
        <source>The operating system or the server refuses access.</source>
        <translation>操作系统或服务器拒绝访问。</translation>
    </message>
    <message>
        <source>Have the permissions looked at.</source>
        <translation>请检查访问权限。</translation>
    </message>
    <message>
        <source>Reading or writing failed.</source>
        <translation>读写失败。</translation>
    </message>
    <message>
        <source>Have disk and network looked at, and import it again.</source>
        <translation>请检查磁盘和网络，然后重新导入。</translation>
    </message>
    <message>
        <source>Data of the site is not what was stored.</source>
        <translation>站点中的数据与入库时不符。</translation>
    </message>
    <message>
        <source>Tell the administrator, who checks the site.</source>
        <translation>请通知管理员检查站点。</translation>
    </message>
    <message>
        <source>The configuration is missing, broken or not usable.</source>
        <translation>配置缺失、损坏或不可用。</translation>
    </message>
    <message>
        <source>Mend the configuration, and import it again.</source>
        <translation>请修正配置后重新导入。</translation>
    </message>
    <message>
        <source>A name or a value of it is none that the site takes.</source>
        <translation>名称或某个值不被站点接受。</translation>
    </message>
    <message>
        <source>Rename it or mend its manifest, and import it again.</source>
        <translation>请重新命名或修正清单后重新导入。</translation>
    </message>
    <message>
        <source>Something that the import needs is not there.</source>
        <translation>缺少导入所需的内容。</translation>
    </message>
    <message>
        <source>A name or number is taken by another job.</source>
        <translation>名称或编号已被其他料号占用。</translation>
    </message>
    <message>
        <source>The import failed for a reason of its own.</source>
        <translation>导入因内部原因失败。</translation>
    </message>
    <message>
        <source>Tell the administrator what stands beneath.</source>
        <translation>请把下面的说明告诉管理员。</translation>
    </message>
    <message>
        <source>The site has a complete job of that content.</source>
        <translation>站点中已有相同内容的完整料号。</translation>
    </message>
    <message>
        <source>See whether it is meant to be there twice.</source>
        <translation>请确认是否需要重复入库。</translation>
    </message>
    <message>
        <source>The batch holds that content more than once.</source>
        <translation>本批量中有多份相同内容。</translation>
    </message>
    <message>
        <source>The job is imported, but a call of its import failed beside that.</source>
        <translation>料号已导入，但其中一个附带步骤失败。</translation>
    </message>
    <message>
        <source>Whether the site had a job&apos;s content before could not be asked.</source>
        <translation>无法查询站点此前是否已有该内容。</translation>
    </message>
    <message>
        <source>The batch number of a company could not be written: its next batch may get it again.</source>
        <translation>公司的批号未能写入：下一批可能重复使用该批号。</translation>
    </message>
    <message>
        <source>Tell the administrator.</source>
        <translation>请通知管理员。</translation>
    </message>
    <message>
        <source>A company could not be looked for when the import came to its folder.</source>
        <translation>导入进行到公司文件夹时，无法查询该公司。</translation>
    </message>
    <message>
        <source>Import the company again.</source>
        <translation>请重新导入该公司。</translation>
    </message>
    <message>
        <source>Another import got the company in the middle of this one: jobs may be refused their numbers, and the batch may share its number with another.</source>
        <translation>导入途中公司被另一个导入占用：料号编号可能被拒绝，批号可能与另一批相同。</translation>
    </message>
    <message>
        <source>Do not import the same company from two windows at once.</source>
        <translation>请不要在两个窗口同时导入同一公司。</translation>
    </message>
    <message>
        <source>The entry, or the folder of its company, is a link that leads out of the batch directory.</source>
        <translation>该项目或其公司文件夹是指向批量目录之外的链接。</translation>
    </message>
    <message>
        <source>See whether it is meant to be imported.</source>
        <translation>请确认是否需要导入。</translation>
    </message>
    <message>
        <source>The source was changed while it was imported: what was stored is not what is there.</source>
        <translation>导入过程中源数据被修改：入库内容与现有内容不同。</translation>
    </message>
    <message>
        <source>Import it again when nobody changes it any more.</source>
        <translation>请在不再修改之后重新导入。</translation>
    </message>
    <message>
        <source>Whether the request of a saved job reached the robot is not known.</source>
        <translation>不清楚存档料号的请求是否到达机器人。</translation>
    </message>
    <message>
        <source>Look at the robot, and send the request again if it does not have the job.</source>
        <translation>请查看机器人；如果没有收到，请重新发送。</translation>
    </message>
    <message>
        <source>The request of a saved job cannot have reached the robot.</source>
        <translation>存档料号的请求未能到达机器人。</translation>
    </message>
    <message>
        <source>Send it again when the robot can be reached.</source>
        <translation>机器人恢复连接后请重新发送。</translation>
    </message>
    <message>
        <source>What became of requests to the robot could not be written into their histories.</source>
        <translation>机器人请求的结果未能写入历史。</translation>
    </message>
    <message>
        <source>Look at the robot for what it has.</source>
        <translation>请在机器人上确认。</translation>
    </message>
    <message>
        <source>The source is gone since it was imported: it could not be looked at again.</source>
        <translation>源数据在导入后已不存在，无法再次核对。</translation>
    </message>
    <message>
        <source>Somebody has the source open for writing: what was stored is not all of it.</source>
        <translation>有程序仍在写入源数据：入库内容不完整。</translation>
    </message>
    <message>
        <source>Import it again when it is written.</source>
        <translation>请在写入完成后重新导入。</translation>
    </message>
    <message>
        <source>The archive ends before its own end.</source>
        <translation>压缩包不完整，提前结束。</translation>
    </message>
    <message>
        <source>Get the archive anew, and import it again.</source>
        <translation>请重新获取压缩包后再导入。</translation>
    </message>
    <message>
        <source>The archive is damaged, or by its content none at all.</source>
        <translation>压缩包已损坏，或内容并非压缩包。</translation>
    </message>
    <message>
        <source>The job manifest is no JSON object, or one of its three values is no text.</source>
        <translation>料号清单不是 JSON 对象，或三个值之一不是文本。</translation>
    </message>
    <message>
        <source>Mend readme.json.</source>
        <translation>请修正 readme.json。</translation>
    </message>
    <message>
        <source>The job manifest is longer than 1 MiB.</source>
        <translation>料号清单超过 1 MiB。</translation>
    </message>
    <message>
        <source>readme.json is a link, a folder, a pipe or a device.</source>
        <translation>readme.json 是链接、文件夹、管道或设备。</translation>
    </message>
    <message>
        <source>Put a file in its place.</source>
        <translation>请改为普通文件。</translation>
    </message>
    <message>
        <source>No copy of the job manifest could be kept until its job is imported.</source>
        <translation>未能在料号导入之前保留清单副本。</translation>
    </message>
    <message>
        <source>Keep a copy of readme.json before it is imported again.</source>
        <translation>重新导入前请自行备份 readme.json。</translation>
    </message>
    <message>
        <source>A text of the job manifest is one that rows do not hold as it is.</source>
        <translation>料号清单中的某个文本无法原样存入数据库。</translation>
    </message>
    <message>
        <source>The job was imported without what its readme.json says.</source>
        <translation>料号已导入，但未采用其 readme.json 中的内容。</translation>
    </message>
    <message>
        <source>readme.json is put back into its folder: correct the job&apos;s texts, or void the job (zav_admin job void) and import it again.</source>
        <translation>readme.json 会放回其文件夹：请更正料号的文本，或作废该料号（zav_admin job void）后重新导入。</translation>
    </message>
    <message>
        <source>What became of a job manifest that was put aside.</source>
        <translation>暂存的料号清单的处理结果。</translation>
    </message>
    <message>
        <source>The results of the run could not be written into the site&apos;s history.</source>
        <translation>本次结果未能写入站点历史。</translation>
    </message>
    <message>
        <source>Save the report as a file.</source>
        <translation>请把报告另存为文件。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ResultStrip</name>
    <message>
        <source>Result of the last import</source>
        <translation>最近一次导入的结果</translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>outcome and number</comment>
        <translation>%1 %2</translation>
    </message>
    <message>
        <source>Import of %1</source>
        <translation>%1 的导入</translation>
    </message>
    <message>
        <source>Shows what became of each entry</source>
        <translation>显示每一项的结果</translation>
    </message>
    <message>
        <source>%1: nothing to import</source>
        <translation>%1：没有可导入的内容</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ResultsView</name>
    <message>
        <source>Results of imports</source>
        <translation>导入结果</translation>
    </message>
    <message>
        <source>I&amp;mport:</source>
        <translation>导入(&amp;M)：</translation>
    </message>
    <message>
        <source>Import whose results are shown</source>
        <translation>显示哪次导入的结果</translation>
    </message>
    <message>
        <source>Re&amp;fresh</source>
        <translation>刷新(&amp;F)</translation>
    </message>
    <message>
        <source>Outcome that is shown</source>
        <translation>显示的结果类型</translation>
    </message>
    <message>
        <source>Search in the results</source>
        <translation>在结果中搜索</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>搜索</translation>
    </message>
    <message>
        <source>Entries of the import</source>
        <translation>导入的各项</translation>
    </message>
    <message>
        <source>Reason and what to do</source>
        <translation>原因与处理</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>复制(&amp;C)</translation>
    </message>
    <message>
        <source>Copies the selected entries, or all that are shown</source>
        <translation>复制选中的各项，未选中时复制显示的全部</translation>
    </message>
    <message>
        <source>Save &amp;as …</source>
        <translation>另存为(&amp;A) …</translation>
    </message>
    <message>
        <source>Writes all entries of this import into a file: for spreadsheets (CSV), for programs (JSON), or to print (HTML)</source>
        <translation>把这次导入的所有项写入文件：表格 (CSV)、供程序使用 (JSON) 或供打印 (HTML)</translation>
    </message>
    <message>
        <source>Select &amp;all</source>
        <translation>全选(&amp;A)</translation>
    </message>
    <message>
        <source>All (%1)</source>
        <translation>全部 (%1)</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <comment>outcome and number</comment>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>The results cannot be read: %1</source>
        <translation>无法读取结果：%1</translation>
    </message>
    <message>
        <source>The imports of this site cannot be read: %1</source>
        <translation>无法读取本站点的导入记录：%1</translation>
    </message>
    <message>
        <source>Nothing has been imported yet. Choose a batch directory or a single source in the import panel: what becomes of each entry is told here.</source>
        <translation>还没有导入记录。请在导入面板中选择批量目录或单个料号，每一项的结果会显示在这里。</translation>
    </message>
    <message>
        <source>There was nothing to import in %1.</source>
        <translation>%1 中没有可导入的内容。</translation>
    </message>
    <message>
        <source>No entry of this import is like that. Choose another outcome or search.</source>
        <translation>这次导入中没有符合条件的项。请更换结果类型或搜索内容。</translation>
    </message>
    <message>
        <source>%1 of %2 entries</source>
        <translation>显示 %1 / %2 项</translation>
    </message>
    <message numerus="yes">
        <source>%n entries copied</source>
        <translation>
            <numerusform>已复制 %n 项</numerusform>
        </translation>
    </message>
    <message>
        <source>Save results</source>
        <translation>保存结果</translation>
    </message>
    <message>
        <source>Spreadsheet (*.csv)</source>
        <translation>表格 (*.csv)</translation>
    </message>
    <message>
        <source>Data for programs (*.json)</source>
        <translation>程序数据 (*.json)</translation>
    </message>
    <message>
        <source>Page to print (*.html)</source>
        <translation>打印页面 (*.html)</translation>
    </message>
    <message>
        <source>import results %1</source>
        <translation>导入结果 %1</translation>
    </message>
    <message>
        <source>Saved as %1</source>
        <translation>已保存为 %1</translation>
    </message>
    <message>
        <source>The file cannot be written.</source>
        <translation>文件无法写入。</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RobotLedger</name>
    <message>
        <source>The robot&apos;s address robot/host = %1 is not a numeric one: requests of archived jobs (.kos) will not reach the robot</source>
        <translation>机器人地址 robot/host = %1 不是数字地址，存档料号 (.kos) 将无法送达机器人</translation>
    </message>
    <message>
        <source>whether the request of %1 reached the robot is not known (%2); &quot;zav_admin job resend %1&quot; sends it again</source>
        <translation>不清楚 %1 的请求是否到达机器人（%2）；可在“机器人”页或用 &quot;zav_admin job resend %1&quot; 重新发送</translation>
    </message>
    <message>
        <source>the request of %1 was not sent (%2); the job is off the waiting list, &quot;zav_admin job requeue %1&quot; puts it back</source>
        <translation>%1 的请求未发送（%2）；该料号已不在等待列表中，可在“机器人”页或用 &quot;zav_admin job requeue %1&quot; 放回</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RobotRequestsModel</name>
    <message>
        <source>Sent</source>
        <translation>已发送</translation>
    </message>
    <message>
        <source>Not sent</source>
        <translation>未发送</translation>
    </message>
    <message>
        <source>Answered</source>
        <translation>已应答</translation>
    </message>
    <message>
        <source>Refused</source>
        <translation>已拒绝</translation>
    </message>
    <message>
        <source>No answer</source>
        <translation>无应答</translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>未知</translation>
    </message>
    <message>
        <source>Saved job</source>
        <translation>存档料号</translation>
    </message>
    <message>
        <source>Confirmed</source>
        <translation>已确认</translation>
    </message>
    <message>
        <source>Sent again</source>
        <translation>重新发送</translation>
    </message>
    <message>
        <source>No such job</source>
        <translation>无此料号</translation>
    </message>
    <message>
        <source>With the robot</source>
        <translation>在机器人处</translation>
    </message>
    <message>
        <source>Waiting</source>
        <translation>等待中</translation>
    </message>
    <message>
        <source>Taken back</source>
        <translation>已作废</translation>
    </message>
    <message>
        <source>Import failed</source>
        <translation>导入失败</translation>
    </message>
    <message>
        <source>Processed further</source>
        <translation>已继续处理</translation>
    </message>
    <message>
        <source>The request was written to a connection with the robot, which does not confirm it.</source>
        <translation>请求已写入与机器人的连接，但机器人不作确认。</translation>
    </message>
    <message>
        <source>The request did not reach the robot.</source>
        <translation>请求未送达机器人。</translation>
    </message>
    <message>
        <source>The robot has answered the request.</source>
        <translation>机器人已应答该请求。</translation>
    </message>
    <message>
        <source>The robot has refused the request.</source>
        <translation>机器人拒绝了该请求。</translation>
    </message>
    <message>
        <source>The request was sent, and the robot did not answer.</source>
        <translation>请求已发送，机器人没有应答。</translation>
    </message>
    <message>
        <source>Whether the request reached the robot is not known.</source>
        <translation>不知道请求是否送达机器人。</translation>
    </message>
    <message>
        <source>The job has a later request.</source>
        <translation>该料号有更新的请求。</translation>
    </message>
    <message>
        <source>Send it again, or put the job back on the waiting list.</source>
        <translation>请重新发送，或把料号放回等待列表。</translation>
    </message>
    <message>
        <source>The job has no row at the site.</source>
        <translation>站点中没有该料号的记录。</translation>
    </message>
    <message>
        <source>The job is on the waiting list again.</source>
        <translation>料号已重新在等待列表中。</translation>
    </message>
    <message>
        <source>The job was taken back.</source>
        <translation>料号已作废。</translation>
    </message>
    <message>
        <source>The import of the job has failed.</source>
        <translation>料号导入失败。</translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>two sentences</comment>
        <translation>%1%2</translation>
    </message>
    <message>
        <source>System job</source>
        <translation>系统料号</translation>
    </message>
    <message>
        <source>Job</source>
        <translation>料号</translation>
    </message>
    <message>
        <source>Request</source>
        <translation>请求</translation>
    </message>
    <message>
        <source>Job is now</source>
        <translation>料号现状</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>Address</source>
        <translation>地址</translation>
    </message>
    <message>
        <source>Reason</source>
        <translation>来源</translation>
    </message>
    <message>
        <source>By</source>
        <translation>操作员</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RobotView</name>
    <message>
        <source>Requests to the robot</source>
        <translation>机器人请求</translation>
    </message>
    <message>
        <source>&amp;Show:</source>
        <translation>显示(&amp;S)：</translation>
    </message>
    <message>
        <source>Requests that are shown</source>
        <translation>显示的请求</translation>
    </message>
    <message>
        <source>All requests</source>
        <translation>全部请求</translation>
    </message>
    <message>
        <source>To be dealt with</source>
        <translation>待处理</translation>
    </message>
    <message>
        <source>Waiting again</source>
        <translation>重新等待</translation>
    </message>
    <message>
        <source>Sent</source>
        <translation>已发送</translation>
    </message>
    <message>
        <source>Answered</source>
        <translation>已应答</translation>
    </message>
    <message>
        <source>Refused</source>
        <translation>已拒绝</translation>
    </message>
    <message>
        <source>Unknown outcome</source>
        <translation>结果未知</translation>
    </message>
    <message>
        <source>Not sent</source>
        <translation>未发送</translation>
    </message>
    <message>
        <source>Re&amp;fresh</source>
        <translation>刷新(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;Send again</source>
        <translation>重新发送(&amp;S)</translation>
    </message>
    <message>
        <source>Sends the requests of the selected jobs to the robot again and waits for its answer</source>
        <translation>把所选料号的请求重新发送给机器人并等待应答</translation>
    </message>
    <message>
        <source>&amp;Back to the waiting list</source>
        <translation>放回等待列表(&amp;B)</translation>
    </message>
    <message>
        <source>Puts the selected jobs on the waiting list again; the robot is not told</source>
        <translation>把所选料号放回等待列表；不会通知机器人</translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation>停止(&amp;T)</translation>
    </message>
    <message>
        <source>Leaves the jobs out that come after the one that is under way</source>
        <translation>当前料号之后的料号不再处理</translation>
    </message>
    <message numerus="yes">
        <source>%n request(s) selected</source>
        <translation>
            <numerusform>已选择 %n 个请求</numerusform>
        </translation>
    </message>
    <message>
        <source>The requests cannot be read: %1</source>
        <translation>无法读取请求：%1</translation>
    </message>
    <message>
        <source>No job has been handed to the robot yet. Open a waiting job and confirm it; its request is then listed here.</source>
        <translation>还没有料号提交给机器人。打开一个等待的料号并确认后，其请求会列在这里。</translation>
    </message>
    <message>
        <source>There is no request of this kind.</source>
        <translation>没有此类请求。</translation>
    </message>
    <message>
        <source>Sending again: %1 of %2</source>
        <translation>正在重新发送：%1/%2</translation>
    </message>
    <message>
        <source>Putting back: %1 of %2</source>
        <translation>正在放回：%1/%2</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message numerus="yes">
        <source>%n job(s) answered by the robot</source>
        <translation>
            <numerusform>机器人已应答 %n 个料号</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n job(s) back on the waiting list</source>
        <translation>
            <numerusform>%n 个料号已放回等待列表</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n more in the messages</source>
        <translation>
            <numerusform>另有 %n 个见消息</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RowCopy</name>
    <message>
        <source>&amp;Copy rows</source>
        <translation>复制行(&amp;C)</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunClosing</name>
    <message>
        <source>Close the window</source>
        <translation>关闭窗口</translation>
    </message>
    <message numerus="yes">
        <source>An import is running: %n job(s) are left. They can be imported, or left for another time.</source>
        <translation>
            <numerusform>正在导入，还剩 %n 个料号。可以继续导入，也可以留到以后再导入。</numerusform>
        </translation>
    </message>
    <message>
        <source>&amp;Stop and close</source>
        <translation>停止并关闭(&amp;S)</translation>
    </message>
    <message>
        <source>&amp;Go on importing</source>
        <translation>继续导入(&amp;G)</translation>
    </message>
    <message>
        <source>the operator closed the window</source>
        <translation>操作员关闭了窗口</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunEntriesModel</name>
    <message>
        <source>What to do: %1</source>
        <translation>处理：%1</translation>
    </message>
    <message>
        <source>Source: %1</source>
        <translation>来源：%1</translation>
    </message>
    <message>
        <source>Stored as: %1</source>
        <translation>入库名称：%1</translation>
    </message>
    <message>
        <source>From %1 to %2</source>
        <translation>从 %1 到 %2</translation>
    </message>
    <message>
        <source>By %1 on %2</source>
        <translation>操作员 %1，机器 %2</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 秒</translation>
    </message>
    <message>
        <source>Outcome</source>
        <translation>结果</translation>
    </message>
    <message>
        <source>Company</source>
        <translation>公司</translation>
    </message>
    <message>
        <source>Job</source>
        <translation>料号</translation>
    </message>
    <message>
        <source>Generated name</source>
        <translation>系统料号</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>大小</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>用时</translation>
    </message>
    <message>
        <source>Reason</source>
        <translation>原因</translation>
    </message>
    <message>
        <source>What to do</source>
        <translation>处理</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunRecord</name>
    <message>
        <source>Imported</source>
        <translation>已导入</translation>
    </message>
    <message>
        <source>With warnings</source>
        <translation>已导入，有警告</translation>
    </message>
    <message>
        <source>Refused</source>
        <translation>被拒绝</translation>
    </message>
    <message>
        <source>Failed</source>
        <translation>失败</translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>未知</translation>
    </message>
    <message>
        <source>Left out</source>
        <translation>已跳过</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunReportFile</name>
    <message>
        <source>Import results</source>
        <translation>导入结果</translation>
    </message>
    <message>
        <source>Source</source>
        <translation>来源</translation>
    </message>
    <message>
        <source>Begin</source>
        <translation>开始</translation>
    </message>
    <message>
        <source>End</source>
        <translation>结束</translation>
    </message>
    <message>
        <source>User</source>
        <translation>操作员</translation>
    </message>
    <message>
        <source>Machine</source>
        <translation>机器</translation>
    </message>
    <message>
        <source>Company</source>
        <translation>公司</translation>
    </message>
    <message>
        <source>Job</source>
        <translation>料号</translation>
    </message>
    <message>
        <source>Generated name</source>
        <translation>系统料号</translation>
    </message>
    <message>
        <source>Bytes</source>
        <translation>字节</translation>
    </message>
    <message>
        <source>Seconds</source>
        <translation>秒</translation>
    </message>
    <message>
        <source>Outcome</source>
        <translation>结果</translation>
    </message>
    <message>
        <source>Reason and what to do</source>
        <translation>原因与处理</translation>
    </message>
    <message>
        <source>Remarks</source>
        <translation>备注</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::RunsModel</name>
    <message>
        <source>%1 %2</source>
        <comment>number and outcome</comment>
        <translation>%1 %2</translation>
    </message>
    <message>
        <source>nothing to import</source>
        <translation>没有可导入的内容</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::ServiceLog</name>
    <message>
        <source>Time</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>类别</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>内容</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::SettingTexts</name>
    <message>
        <source>the engine of the rows: QSQLITE, a file on this machine, or QMYSQL, a MariaDB or MySQL server</source>
        <translation>数据库引擎：QSQLITE 为本机上的一个文件，QMYSQL 为 MariaDB 或 MySQL 服务器</translation>
    </message>
    <message>
        <source>the path of the SQLite database</source>
        <translation>SQLite 数据库的路径</translation>
    </message>
    <message>
        <source>the name or address of the MariaDB or MySQL server, without blanks</source>
        <translation>MariaDB 或 MySQL 服务器的名称或地址，不含空格</translation>
    </message>
    <message>
        <source>the port of the server</source>
        <translation>服务器的端口</translation>
    </message>
    <message>
        <source>the name of the database on the server</source>
        <translation>服务器上数据库的名称</translation>
    </message>
    <message>
        <source>the account on the server</source>
        <translation>服务器上的账号</translation>
    </message>
    <message>
        <source>the path of a file whose first line is the password</source>
        <translation>首行为密码的文件的路径</translation>
    </message>
    <message>
        <source>the longest wait for a connection to the server</source>
        <translation>连接服务器的最长等待时间</translation>
    </message>
    <message>
        <source>the longest wait for an answer of the server</source>
        <translation>等待服务器应答的最长时间</translation>
    </message>
    <message>
        <source>the longest wait for the server to take what is sent</source>
        <translation>等待服务器接收数据的最长时间</translation>
    </message>
    <message>
        <source>the longest wait for another writer of the SQLite database</source>
        <translation>等待 SQLite 数据库其他写入者的最长时间</translation>
    </message>
    <message>
        <source>the path of the certificate of the authority that signed the server&apos;s</source>
        <translation>签发服务器证书的机构的证书的路径</translation>
    </message>
    <message>
        <source>whether a server on another machine, which otherwise needs tls_ca, may be spoken to without encryption</source>
        <translation>对另一台机器上的服务器（否则需要 tls_ca）是否允许不加密通信</translation>
    </message>
    <message>
        <source>the kind of the store: local, a folder, or mongodb, GridFS on a MongoDB server</source>
        <translation>文件库的种类：local 为文件夹，mongodb 为 MongoDB 服务器上的 GridFS</translation>
    </message>
    <message>
        <source>the path of the store&apos;s folder</source>
        <translation>文件库文件夹的路径</translation>
    </message>
    <message>
        <source>the connection to the MongoDB server</source>
        <translation>到 MongoDB 服务器的连接</translation>
    </message>
    <message>
        <source>the path of a file whose first line is the password of the URI&apos;s user</source>
        <translation>首行为该 URI 用户密码的文件的路径</translation>
    </message>
    <message>
        <source>the first of the two names of where stored files lie, with either kind: mongoDbName</source>
        <translation>存储文件位置的第一个名称（两种文件库均用）：mongoDbName</translation>
    </message>
    <message>
        <source>the second of these names: mongoFsName</source>
        <translation>存储文件位置的第二个名称：mongoFsName</translation>
    </message>
    <message>
        <source>whether a server on another machine, which otherwise needs TLS, may be spoken to without encryption</source>
        <translation>对另一台机器上的服务器（否则需要 TLS）是否允许不加密通信</translation>
    </message>
    <message>
        <source>the path of the folder that imports are staged in</source>
        <translation>导入时暂存用的文件夹的路径</translation>
    </message>
    <message>
        <source>the path of the folder that receives fetched files</source>
        <translation>存放取回文件的文件夹的路径</translation>
    </message>
    <message>
        <source>how long a batch import waits for a server that does not answer, before it gives up</source>
        <translation>批量导入等待无应答的服务器多久后放弃</translation>
    </message>
    <message>
        <source>how long a batch import waits for a company that another import holds</source>
        <translation>批量导入等待被另一导入占用的公司的时间</translation>
    </message>
    <message>
        <source>how long the results of imports are kept with the site, or 0 for ever</source>
        <translation>导入结果在站点中保留的时间，0 为永久</translation>
    </message>
    <message>
        <source>the address or name of the CAM robot server, without blanks</source>
        <translation>CAM 机器人服务器的地址或名称，不含空格</translation>
    </message>
    <message>
        <source>the port of the CAM robot server</source>
        <translation>CAM 机器人服务器的端口</translation>
    </message>
    <message>
        <source>the number of the operator, which rows carry</source>
        <translation>操作员的编号，写入各记录</translation>
    </message>
    <message>
        <source>the operator&apos;s name as it is shown</source>
        <translation>操作员的显示名称</translation>
    </message>
    <message>
        <source>the name that the operator logs in with</source>
        <translation>操作员的登录名</translation>
    </message>
    <message>
        <source>the identity of the site, written by zav_admin init; its database and its store have the same</source>
        <translation>站点的标识，由 zav_admin init 写入；其数据库和文件库的标识相同</translation>
    </message>
    <message>
        <source>the moment of the rows, written by zav_admin backup: nothing is imported into a backup</source>
        <translation>记录的时刻，由 zav_admin backup 写入：备份中不导入任何内容</translation>
    </message>
    <message>
        <source>seconds</source>
        <translation>秒</translation>
    </message>
    <message>
        <source>milliseconds</source>
        <translation>毫秒</translation>
    </message>
    <message>
        <source>days</source>
        <translation>天</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::SettingsDialog</name>
    <message>
        <source>Database</source>
        <translation>数据库</translation>
    </message>
    <message>
        <source>Stored files</source>
        <translation>存储文件</translation>
    </message>
    <message>
        <source>Folders</source>
        <translation>文件夹</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>导入</translation>
    </message>
    <message>
        <source>History</source>
        <translation>历史</translation>
    </message>
    <message>
        <source>Robot</source>
        <translation>机器人</translation>
    </message>
    <message>
        <source>Operator</source>
        <translation>操作员</translation>
    </message>
    <message>
        <source>Site</source>
        <translation>站点</translation>
    </message>
    <message>
        <source>A value is needed.</source>
        <translation>需要填写。</translation>
    </message>
    <message>
        <source>A number from %1 to %2 is needed.</source>
        <translation>需要 %1 到 %2 之间的数字。</translation>
    </message>
    <message>
        <source>Not accepted: %1</source>
        <translation>不接受：%1</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>设置</translation>
    </message>
    <message>
        <source>The configuration cannot be read: %1</source>
        <translation>无法读取配置：%1</translation>
    </message>
    <message>
        <source>%1, in %2</source>
        <translation>%1，单位：%2</translation>
    </message>
    <message>
        <source>Yes</source>
        <translation>是</translation>
    </message>
    <message>
        <source>Choose …</source>
        <translation>选择 …</translation>
    </message>
    <message>
        <source>Choose %1</source>
        <translation>选择 %1</translation>
    </message>
    <message>
        <source>Choose a folder</source>
        <translation>选择文件夹</translation>
    </message>
    <message>
        <source>Choose a file</source>
        <translation>选择文件</translation>
    </message>
    <message>
        <source>Language of this client</source>
        <translation>本客户端的语言</translation>
    </message>
    <message>
        <source>As the system</source>
        <translation>与系统相同</translation>
    </message>
    <message>
        <source>&amp;Language:</source>
        <translation>语言(&amp;L)：</translation>
    </message>
    <message>
        <source>Of this client for this user; another one shows at the next start. The two panels keep their texts.</source>
        <translation>仅用于本用户的本客户端；更改在下次启动时生效。两个面板的文字不变。</translation>
    </message>
    <message>
        <source>This client</source>
        <translation>本客户端</translation>
    </message>
    <message>
        <source>&amp;Test the connections</source>
        <translation>测试连接(&amp;T)</translation>
    </message>
    <message>
        <source>Testing the connections …</source>
        <translation>正在测试连接 …</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>The rows and the stored files</source>
        <translation>记录和存储文件</translation>
    </message>
    <message>
        <source>The rows</source>
        <translation>记录</translation>
    </message>
    <message>
        <source>The stored files</source>
        <translation>存储文件</translation>
    </message>
    <message>
        <source>%1 of the site would be looked for elsewhere from now on.</source>
        <translation>此后将在别处查找本站点的%1。</translation>
    </message>
    <message>
        <source>Nothing is moved by that: &quot;zav_admin migrate&quot; moves a site. What is not of this site is not opened. Write it nevertheless?</source>
        <translation>这不会移动任何内容：“zav_admin migrate”用于移动站点。不属于本站点的部分不会被打开。仍要写入吗？</translation>
    </message>
    <message>
        <source>Nothing has been written: %1</source>
        <translation>未写入：%1</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::SiteStatusBar</name>
    <message>
        <source>Database</source>
        <translation>数据库</translation>
    </message>
    <message>
        <source>File store</source>
        <translation>文件库</translation>
    </message>
    <message>
        <source>local</source>
        <translation>本地</translation>
    </message>
    <message>
        <source>not encrypted</source>
        <translation>未加密</translation>
    </message>
    <message>
        <source>encrypted</source>
        <translation>已加密</translation>
    </message>
    <message>
        <source>○ unreachable</source>
        <translation>○ 无法连接</translation>
    </message>
    <message>
        <source>this machine</source>
        <translation>本机</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>what, its value</comment>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>Engine</source>
        <translation>引擎</translation>
    </message>
    <message>
        <source>Place</source>
        <translation>位置</translation>
    </message>
    <message>
        <source>Connection</source>
        <translation>连接</translation>
    </message>
    <message>
        <source>Topology</source>
        <translation>拓扑</translation>
    </message>
    <message>
        <source>Configuration</source>
        <translation>配置</translation>
    </message>
    <message>
        <source>Unreachable</source>
        <translation>无法连接</translation>
    </message>
    <message>
        <source>Waiting for the database</source>
        <translation>等待数据库恢复</translation>
    </message>
    <message>
        <source>Waiting for the file store</source>
        <translation>等待文件库恢复</translation>
    </message>
    <message>
        <source>Waiting for company %1 (held by %2)</source>
        <translation>等待公司 %1（由 %2 占用）</translation>
    </message>
    <message>
        <source>%1 %2 of %3 s</source>
        <translation>%1 %2 / %3 秒</translation>
    </message>
    <message>
        <source>Robot …</source>
        <translation>机器人 …</translation>
    </message>
    <message>
        <source>Robot %1 %2</source>
        <translation>机器人 %1 %2</translation>
    </message>
    <message>
        <source>● online</source>
        <translation>● 在线</translation>
    </message>
    <message>
        <source>○ offline</source>
        <translation>○ 离线</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::WaitingJobsView</name>
    <message>
        <source>Jobs that wait for import</source>
        <translation>等待导入的料号</translation>
    </message>
    <message>
        <source>Reading …</source>
        <translation>正在读取 …</translation>
    </message>
    <message>
        <source>Generated name begins with</source>
        <translation>系统料号前缀</translation>
    </message>
    <message>
        <source>Upper and lower case are different.</source>
        <translation>区分大小写。</translation>
    </message>
    <message>
        <source>&amp;Refresh</source>
        <translation>刷新(&amp;R)</translation>
    </message>
    <message>
        <source>&amp;Open its request</source>
        <translation>打开其请求(&amp;O)</translation>
    </message>
    <message>
        <source>&amp;Open for import</source>
        <translation>打开料号导入(&amp;O)</translation>
    </message>
    <message>
        <source>More than %1 jobs</source>
        <translation>超过 %1 个料号</translation>
    </message>
    <message>
        <source>Jobs: %1</source>
        <translation>料号：%1 个</translation>
    </message>
    <message>
        <source>No job waits. What is imported appears here.</source>
        <translation>没有等待的料号。导入的料号显示在这里。</translation>
    </message>
    <message>
        <source>No waiting job begins like that.</source>
        <translation>没有以此开头的等待料号。</translation>
    </message>
    <message>
        <source>The jobs cannot be read: %1</source>
        <translation>无法读取料号：%1</translation>
    </message>
</context>
<context>
    <name>KOZAV::Host::WaitingModel</name>
    <message>
        <source>No.</source>
        <translation>编号</translation>
    </message>
    <message>
        <source>Generated name</source>
        <translation>系统料号</translation>
    </message>
    <message>
        <source>Company</source>
        <translation>公司名</translation>
    </message>
    <message>
        <source>Note</source>
        <translation>备注</translation>
    </message>
    <message>
        <source>The request to the robot failed: %1</source>
        <translation>机器人请求失败：%1</translation>
    </message>
    <message>
        <source>Request failed</source>
        <translation>请求失败</translation>
    </message>
</context>
</TS>
