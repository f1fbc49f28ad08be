<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU">
<context>
    <name>AutoTestForm</name>
    <message>
        <source>Auto test</source>
        <translation>Автотест</translation>
    </message>
    <message>
        <source>USB ports</source>
        <translation>Порты USB</translation>
    </message>
    <message>
        <source>1</source>
        <translation>1</translation>
    </message>
    <message>
        <source>2</source>
        <translation>2</translation>
    </message>
    <message>
        <source>3</source>
        <translation>3</translation>
    </message>
    <message>
        <source>4</source>
        <translation>4</translation>
    </message>
    <message>
        <source>SD card</source>
        <translation>SD карта</translation>
    </message>
    <message>
        <source>COM ports</source>
        <translation>COM-порты</translation>
    </message>
    <message>
        <source>4 pin</source>
        <translation>4 конт.</translation>
    </message>
    <message>
        <source>6 pin</source>
        <translation>6 конт.</translation>
    </message>
    <message>
        <source>Charging</source>
        <translation>Питание</translation>
    </message>
    <message>
        <source>Current time:</source>
        <translation>Текущее время:</translation>
    </message>
    <message>
        <source>Running time:</source>
        <translation>Время работы:</translation>
    </message>
    <message>
        <source>Ping test</source>
        <translation>Проверка связи</translation>
    </message>
    <message>
        <source>Readers</source>
        <translation>Считыватели</translation>
    </message>
    <message>
        <source>MC reader</source>
        <translation>Считыватель МК</translation>
    </message>
    <message>
        <source>Track 1</source>
        <translation>Дорожка 1</translation>
    </message>
    <message>
        <source>Track 2</source>
        <translation>Дорожка 2</translation>
    </message>
    <message>
        <source>Track 3</source>
        <translation>Дорожка 3</translation>
    </message>
    <message>
        <source>RFID reader</source>
        <translation>Считыватель RFID</translation>
    </message>
    <message>
        <source>TB reader</source>
        <translation>Считыватель TM</translation>
    </message>
    <message>
        <source>CPU stat</source>
        <translation>Процессор</translation>
    </message>
    <message>
        <source>CPU info:</source>
        <translation>Процессор:</translation>
    </message>
    <message>
        <source>CPU busy:</source>
        <translation>Загрузка:</translation>
    </message>
    <message>
        <source>Average:</source>
        <translation>Средняя:</translation>
    </message>
    <message>
        <source>Memory total:</source>
        <translation>Память всего:</translation>
    </message>
    <message>
        <source>Memory free:</source>
        <translation>Память свободно:</translation>
    </message>
    <message>
        <source>IP addresses</source>
        <translation>IP-адреса</translation>
    </message>
    <message>
        <source>IP address (wired):</source>
        <translation>IP-адрес (сеть):</translation>
    </message>
    <message>
        <source>IP address (3G):</source>
        <translation>IP-адрес (3G):</translation>
    </message>
    <message>
        <source>IP address (Wi-Fi):</source>
        <translation>IP-адрес (Wi-Fi):</translation>
    </message>
    <message>
        <source>Manual test</source>
        <translation>Ручные тесты</translation>
    </message>
    <message>
        <source>Open cash driver</source>
        <translation>Денежный ящик</translation>
    </message>
    <message>
        <source>COM port test</source>
        <translation>Тест COM-портов</translation>
    </message>
    <message>
        <source>Printer &amp;&amp; cutter test</source>
        <translation>Принтер и отрезчик</translation>
    </message>
    <message>
        <source>Shutdown</source>
        <translation>Выключить</translation>
    </message>
    <message>
        <source>Auto test main form create begin...</source>
        <translation>Создание формы автотеста...</translation>
    </message>
    <message>
        <source>Signal &lt;INT&gt;.</source>
        <translation>Сигнал &lt;INT&gt;.</translation>
    </message>
    <message>
        <source>Init power devices successful.</source>
        <translation>Устройства питания инициализированы.</translation>
    </message>
    <message>
        <source>Error init power devices.</source>
        <translation>Ошибка инициализации устройств питания.</translation>
    </message>
    <message>
        <source>IButton monitor is On.</source>
        <translation>Монитор iButton включён.</translation>
    </message>
    <message>
        <source>RFID monitor is On.</source>
        <translation>Монитор RFID включён.</translation>
    </message>
    <message>
        <source>MSR monitor is On.</source>
        <translation>Монитор считывателя МК включён.</translation>
    </message>
    <message>
        <source>Customer display thread is On.</source>
        <translation>Тест дисплея покупателя включён.</translation>
    </message>
    <message>
        <source>Print thread is On.</source>
        <translation>Тест принтера создан.</translation>
    </message>
    <message>
        <source>Ping process running.</source>
        <translation>Проверка связи запущена.</translation>
    </message>
    <message>
        <source>Auto test main form created.</source>
        <translation>Форма автотеста создана.</translation>
    </message>
    <message>
        <source>Ping timeout (%1)</source>
        <translation>Нет ответа (%1)</translation>
    </message>
    <message>
        <source>UPS value change: %1.</source>
        <translation>Заряд батареи: %1.</translation>
    </message>
    <message>
        <source>UPS status change: %1.</source>
        <translation>Состояние батареи: %1.</translation>
    </message>
    <message>
        <source>Wait...</source>
        <translation>Ждите...</translation>
    </message>
    <message>
        <source>COM 1 ports test is On.</source>
        <translation>Тест порта COM 1 включён.</translation>
    </message>
    <message>
        <source>COM 2 ports test is On.</source>
        <translation>Тест порта COM 2 включён.</translation>
    </message>
    <message>
        <source>Create COM 1 ports test error.</source>
        <translation>Ошибка создания теста порта COM 1.</translation>
    </message>
    <message>
        <source>Create COM 2 ports test error.</source>
        <translation>Ошибка создания теста порта COM 2.</translation>
    </message>
    <message>
        <source>Signal &lt;TERM&gt;.</source>
        <translation>Сигнал &lt;TERM&gt;.</translation>
    </message>
    <message>
        <source>Shutdown application.</source>
        <translation>Завершение программы.</translation>
    </message>
</context>
<context>
    <name>COMThread</name>
    <message>
        <source>COMThread: Bad port number %1</source>
        <translation>COMThread: Неверный номер порта %1</translation>
    </message>
    <message>
        <source>COMThread: COM port %1 test is %2.</source>
        <translation>COMThread: Тест COM-порта %1: %2.</translation>
    </message>
    <message>
        <source>COMThread &lt;run&gt; finished.</source>
        <translation>COMThread &lt;run&gt; завершён.</translation>
    </message>
</context>
<context>
    <name>CashDrawer</name>
    <message>
        <source>CashDrawer: Cash draver open error.</source>
        <translation>CashDrawer: Ошибка открытия денежного ящика.</translation>
    </message>
    <message>
        <source>CashDrawer: Device open error.</source>
        <translation>CashDrawer: Ошибка открытия устройства.</translation>
    </message>
    <message>
        <source>CashDrawer: Cash draver opened.</source>
        <translation>CashDrawer: Денежный ящик открыт.</translation>
    </message>
</context>
<context>
    <name>DiskTest</name>
    <message>
        <source>DiskTest: dev = %1</source>
        <translation>DiskTest: устройство = %1</translation>
    </message>
    <message>
        <source>DiskTest: device not present.</source>
        <translation>DiskTest: устройство отсутствует.</translation>
    </message>
    <message>
        <source>DiskTest: fail mount SD card.</source>
        <translation>DiskTest: не удалось смонтировать SD-карту.</translation>
    </message>
    <message>
        <source>DiskTest: Mount OK</source>
        <translation>DiskTest: Монтирование выполнено</translation>
    </message>
    <message>
        <source>DiskTest: fail write file.</source>
        <translation>DiskTest: ошибка записи файла.</translation>
    </message>
    <message>
        <source>DiskTest: fail unmount %1.</source>
        <translation>DiskTest: не удалось отмонтировать %1.</translation>
    </message>
    <message>
        <source>DiskTest: fail create test file.</source>
        <translation>DiskTest: не удалось создать тестовый файл.</translation>
    </message>
    <message>
        <source>DiskTest: fail open test file.</source>
        <translation>DiskTest: не удалось открыть тестовый файл.</translation>
    </message>
    <message>
        <source>DiskTest: Wrong test write/read.</source>
        <translation>DiskTest: Ошибка проверки записи/чтения.</translation>
    </message>
    <message>
        <source>DiskTest: Ok.</source>
        <translation>DiskTest: Исправно.</translation>
    </message>
</context>
<context>
    <name>ErrnoTexts</name>
    <message>
        <source>Operation not permitted</source>
        <translation>Операция не позволена</translation>
    </message>
    <message>
        <source>No such file or directory</source>
        <translation>Нет такого файла или каталога</translation>
    </message>
    <message>
        <source>No such process</source>
        <translation>Нет такого процесса</translation>
    </message>
    <message>
        <source>Interrupted system call</source>
        <translation>Системный вызов прерван</translation>
    </message>
    <message>
        <source>I/O error</source>
        <translation>Ошибка ввода-вывода</translation>
    </message>
    <message>
        <source>No such device or address</source>
        <translation>Нет такого устройства или адреса</translation>
    </message>
    <message>
        <source>Argument list too long</source>
        <translation>Слишком длинный список аргументов</translation>
    </message>
    <message>
        <source>Exec format error</source>
        <translation>Ошибка формата исполняемого файла</translation>
    </message>
    <message>
        <source>Bad file number</source>
        <translation>Неверный дескриптор файла</translation>
    </message>
    <message>
        <source>No child processes</source>
        <translation>Нет дочерних процессов</translation>
    </message>
    <message>
        <source>Try again</source>
        <translation>Повторите попытку</translation>
    </message>
    <message>
        <source>Out of memory</source>
        <translation>Недостаточно памяти</translation>
    </message>
    <message>
        <source>Permission denied</source>
        <translation>Отказано в доступе</translation>
    </message>
    <message>
        <source>Bad address</source>
        <translation>Неверный адрес</translation>
    </message>
    <message>
        <source>Block device required</source>
        <translation>Требуется блочное устройство</translation>
    </message>
    <message>
        <source>Device or resource busy</source>
        <translation>Устройство или ресурс занято</translation>
    </message>
    <message>
        <source>File exists</source>
        <translation>Файл существует</translation>
    </message>
    <message>
        <source>Cross-device link</source>
        <translation>Ссылка между разными устройствами</translation>
    </message>
    <message>
        <source>No such device</source>
        <translation>Нет такого устройства</translation>
    </message>
    <message>
        <source>Not a directory</source>
        <translation>Не является каталогом</translation>
    </message>
    <message>
        <source>Is a directory</source>
        <translation>Является каталогом</translation>
    </message>
    <message>
        <source>Invalid argument</source>
        <translation>Недопустимый аргумент</translation>
    </message>
    <message>
        <source>File table overflow</source>
        <translation>Переполнение таблицы файлов</translation>
    </message>
    <message>
        <source>Too many open files</source>
        <translation>Слишком много открытых файлов</translation>
    </message>
    <message>
        <source>Not a typewriter</source>
        <translation>Устройство не является терминалом</translation>
    </message>
    <message>
        <source>Text file busy</source>
        <translation>Исполняемый файл занят</translation>
    </message>
    <message>
        <source>File too large</source>
        <translation>Файл слишком велик</translation>
    </message>
    <message>
        <source>No space left on device</source>
        <translation>На устройстве не осталось места</translation>
    </message>
    <message>
        <source>Illegal seek</source>
        <translation>Недопустимое позиционирование</translation>
    </message>
    <message>
        <source>Read-only file system</source>
        <translation>Файловая система только для чтения</translation>
    </message>
    <message>
        <source>Too many links</source>
        <translation>Слишком много ссылок</translation>
    </message>
    <message>
        <source>Broken pipe</source>
        <translation>Обрыв канала</translation>
    </message>
    <message>
        <source>Math argument out of domain of func</source>
        <translation>Аргумент вне области определения функции</translation>
    </message>
    <message>
        <source>Math result not representable</source>
        <translation>Результат не представим</translation>
    </message>
    <message>
        <source>No error code found!</source>
        <translation>Код ошибки не найден!</translation>
    </message>
</context>
<context>
    <name>IButtonThread</name>
    <message>
        <source>IB: IButton Device open success.</source>
        <translation>IB: Устройство iButton открыто.</translation>
    </message>
    <message>
        <source>IB: IButton disconnect.</source>
        <translation>IB: iButton отключён.</translation>
    </message>
    <message>
        <source>IB: IButton connect.</source>
        <translation>IB: iButton подключён.</translation>
    </message>
    <message>
        <source>IB: %1</source>
        <translation>IB: %1</translation>
    </message>
    <message>
        <source>IB: IButton device Close.</source>
        <translation>IB: Устройство iButton закрыто.</translation>
    </message>
    <message>
        <source>IButtonThread &lt;run&gt; finished.</source>
        <translation>IButtonThread &lt;run&gt; завершён.</translation>
    </message>
</context>
<context>
    <name>KX4TestMainWindow</name>
    <message>
        <source>COM1 - no tested</source>
        <translation>COM1 - не проверен</translation>
    </message>
    <message>
        <source>COM2 - no tested</source>
        <translation>COM2 - не проверен</translation>
    </message>
    <message>
        <source>Disk test is off.</source>
        <translation>Тест дисков выключен.</translation>
    </message>
    <message>
        <source>Write settings.</source>
        <translation>Запись настроек.</translation>
    </message>
    <message>
        <source>Error connect to USBSignal (1).</source>
        <translation>Ошибка подключения к USBSignal (1).</translation>
    </message>
    <message>
        <source>Error connect to USBSignal (2).</source>
        <translation>Ошибка подключения к USBSignal (2).</translation>
    </message>
    <message>
        <source>Error connect to USBSignal (3).</source>
        <translation>Ошибка подключения к USBSignal (3).</translation>
    </message>
    <message>
        <source>Error connect to USBSignal (4).</source>
        <translation>Ошибка подключения к USBSignal (4).</translation>
    </message>
    <message>
        <source>Error connect to USBSignal (5).</source>
        <translation>Ошибка подключения к USBSignal (5).</translation>
    </message>
    <message>
        <source>Init power devices successful.</source>
        <translation>Устройства питания инициализированы.</translation>
    </message>
    <message>
        <source>Error init power devices.</source>
        <translation>Ошибка инициализации устройств питания.</translation>
    </message>
    <message>
        <source>Ping finished.</source>
        <translation>Ping завершён.</translation>
    </message>
    <message>
        <source>CPU: %1 (%2)</source>
        <translation>CPU: %1 (%2)</translation>
    </message>
    <message>
        <source>Memory total: %1</source>
        <translation>Память всего: %1</translation>
    </message>
    <message>
        <source>Memory free: %1</source>
        <translation>Память свободно: %1</translation>
    </message>
    <message>
        <source>%1: no address</source>
        <translation>%1: нет адреса</translation>
    </message>
    <message>
        <source>CPU load: %1%</source>
        <translation>Загрузка ЦП: %1%</translation>
    </message>
    <message>
        <source>Mains, %1</source>
        <translation>Сеть, %1</translation>
    </message>
    <message>
        <source>Battery, %1</source>
        <translation>Батарея, %1</translation>
    </message>
    <message>
        <source>Signal &lt;TERM&gt;.</source>
        <translation>Сигнал &lt;TERM&gt;.</translation>
    </message>
    <message>
        <source>Shutdown application.</source>
        <translation>Завершение программы.</translation>
    </message>
    <message>
        <source>MSR monitor is On.</source>
        <translation>Монитор магнитных карт включён.</translation>
    </message>
    <message>
        <source>MSR monitor is Off.</source>
        <translation>Монитор магнитных карт выключен.</translation>
    </message>
    <message>
        <source>RFID monitor is On.</source>
        <translation>Монитор RFID включён.</translation>
    </message>
    <message>
        <source>RFID monitor is Off.</source>
        <translation>Монитор RFID выключен.</translation>
    </message>
    <message>
        <source>IButton monitor is On.</source>
        <translation>Монитор iButton включён.</translation>
    </message>
    <message>
        <source>IButton monitor is Off.</source>
        <translation>Монитор iButton выключен.</translation>
    </message>
    <message>
        <source>Print thread is On.</source>
        <translation>Тест печати включён.</translation>
    </message>
    <message>
        <source>Print thread is Off.</source>
        <translation>Тест печати выключен.</translation>
    </message>
    <message>
        <source>Customer display thread is On.</source>
        <translation>Тест дисплея покупателя включён.</translation>
    </message>
    <message>
        <source>Customer display thread is Off.</source>
        <translation>Тест дисплея покупателя выключен.</translation>
    </message>
    <message>
        <source>COM 1 ports test is On.</source>
        <translation>Тест порта COM 1 включён.</translation>
    </message>
    <message>
        <source>COM 2 ports test is On.</source>
        <translation>Тест порта COM 2 включён.</translation>
    </message>
    <message>
        <source>COM 1 ports test is Off.</source>
        <translation>Тест порта COM 1 выключен.</translation>
    </message>
    <message>
        <source>COM 2 ports test is Off.</source>
        <translation>Тест порта COM 2 выключен.</translation>
    </message>
    <message>
        <source>Create COM 1 ports test error.</source>
        <translation>Ошибка создания теста порта COM 1.</translation>
    </message>
    <message>
        <source>Create COM 2 ports test error.</source>
        <translation>Ошибка создания теста порта COM 2.</translation>
    </message>
    <message>
        <source>DiskTest monitor is On.</source>
        <translation>Монитор дисков включён.</translation>
    </message>
    <message>
        <source>DiskTest monitor is Off.</source>
        <translation>Монитор дисков выключен.</translation>
    </message>
    <message>
        <source>Waiting for an SD card or a USB stick.</source>
        <translation>Ожидание SD-карты или USB-накопителя.</translation>
    </message>
    <message>
        <source>COM1 - OK</source>
        <translation>COM1 - исправен</translation>
    </message>
    <message>
        <source>COM2 - OK</source>
        <translation>COM2 - исправен</translation>
    </message>
    <message>
        <source>COM1 - ERROR</source>
        <translation>COM1 - ОШИБКА</translation>
    </message>
    <message>
        <source>COM2 - ERROR</source>
        <translation>COM2 - ОШИБКА</translation>
    </message>
    <message>
        <source>Brightness change to: %1</source>
        <translation>Яркость изменена на: %1</translation>
    </message>
    <message>
        <source>%1: device present.</source>
        <translation>%1: устройство найдено.</translation>
    </message>
    <message>
        <source>%1: no device.</source>
        <translation>%1: устройства нет.</translation>
    </message>
    <message>
        <source>%1: mounted, testing...</source>
        <translation>%1: смонтировано, проверка...</translation>
    </message>
    <message>
        <source>%1: mount error %2: no file system that can be mounted (vfat, ext3, ntfs).</source>
        <translation>%1: ошибка монтирования %2: нет файловой системы, которую можно смонтировать (vfat, ext3, ntfs).</translation>
    </message>
    <message>
        <source>%1: OK, written and read back.</source>
        <translation>%1: исправно, записано и прочитано.</translation>
    </message>
    <message>
        <source>the test file could not be created (write-protected or full?)</source>
        <translation>не удалось создать тестовый файл (защита от записи или нет места?)</translation>
    </message>
    <message>
        <source>the test file could not be opened again</source>
        <translation>не удалось снова открыть тестовый файл</translation>
    </message>
    <message>
        <source>the file read back differs from what was written</source>
        <translation>прочитанный файл отличается от записанного</translation>
    </message>
    <message>
        <source>unknown error</source>
        <translation>неизвестная ошибка</translation>
    </message>
    <message>
        <source>%1: error %2: %3.</source>
        <translation>%1: ошибка %2: %3.</translation>
    </message>
    <message>
        <source>Added: %1</source>
        <translation>Подключено: %1</translation>
    </message>
    <message>
        <source>Removed: %1</source>
        <translation>Отключено: %1</translation>
    </message>
    <message>
        <source>Changed: %1</source>
        <translation>Изменено: %1</translation>
    </message>
    <message>
        <source>Network: bad IP address &quot;%1&quot;. Nothing was saved.</source>
        <translation>Сеть: неверный IP-адрес &quot;%1&quot;. Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Network: bad network mask &quot;%1&quot;. Nothing was saved.</source>
        <translation>Сеть: неверная маска &quot;%1&quot;. Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Network: bad gateway &quot;%1&quot;. Nothing was saved.</source>
        <translation>Сеть: неверный шлюз &quot;%1&quot;. Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Network: bad name server &quot;%1&quot;. Nothing was saved.</source>
        <translation>Сеть: неверный DNS-сервер &quot;%1&quot;. Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Network: the interface file cannot be written.</source>
        <translation>Сеть: не удаётся записать файл интерфейсов.</translation>
    </message>
    <message>
        <source>Network: no resolver file, the name servers were not saved.</source>
        <translation>Сеть: нет файла resolv.conf, DNS-серверы не сохранены.</translation>
    </message>
    <message>
        <source>Network: settings of %1 saved.</source>
        <translation>Сеть: настройки %1 сохранены.</translation>
    </message>
    <message>
        <source>Network: settings of %1 saved and applied.</source>
        <translation>Сеть: настройки %1 сохранены и применены.</translation>
    </message>
    <message>
        <source>Network: %1 %2...</source>
        <translation>Сеть: %1 %2...</translation>
    </message>
    <message>
        <source>Network: %1 %2 did not end.</source>
        <translation>Сеть: %1 %2 не завершился.</translation>
    </message>
    <message>
        <source>Network: %1 %2 failed (%3).</source>
        <translation>Сеть: ошибка %1 %2 (%3).</translation>
    </message>
    <message>
        <source>Samba is not installed.</source>
        <translation>Samba не установлена.</translation>
    </message>
    <message>
        <source>Samba: bad NetBIOS name &quot;%1&quot; (up to 15 letters, digits, dashes). Nothing was saved.</source>
        <translation>Samba: неверное имя NetBIOS &quot;%1&quot; (до 15 латинских букв, цифр, дефисов). Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Samba: bad workgroup &quot;%1&quot; (up to 15 letters, digits, dashes). Nothing was saved.</source>
        <translation>Samba: неверная рабочая группа &quot;%1&quot; (до 15 латинских букв, цифр, дефисов). Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Samba: the password may not hold control characters. Nothing was saved.</source>
        <translation>Samba: пароль не может содержать управляющие символы. Ничего не сохранено.</translation>
    </message>
    <message>
        <source>Samba: the password of %1 was not changed.</source>
        <translation>Samba: пароль %1 не изменён.</translation>
    </message>
    <message>
        <source>Samba: not every setting could be saved.</source>
        <translation>Samba: не все настройки удалось сохранить.</translation>
    </message>
    <message>
        <source>Samba: sharing on, settings saved.</source>
        <translation>Samba: общий доступ включён, настройки сохранены.</translation>
    </message>
    <message>
        <source>Samba: sharing off.</source>
        <translation>Samba: общий доступ выключен.</translation>
    </message>
    <message>
        <source>Scanning...</source>
        <translation>Поиск...</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Открытая</translation>
    </message>
    <message>
        <source>WiFi: no scan (is %1 up?)</source>
        <translation>WiFi: поиск не выполнен (%1 включён?)</translation>
    </message>
    <message>
        <source>WiFi: networks found: %1.</source>
        <translation>WiFi: найдено сетей: %1.</translation>
    </message>
    <message>
        <source>WiFi: choose a network or type its name (up to 32 characters).</source>
        <translation>WiFi: выберите сеть или введите её имя (до 32 символов).</translation>
    </message>
    <message>
        <source>WiFi: %1 networks cannot be set up here.</source>
        <translation>WiFi: сети %1 здесь не настраиваются.</translation>
    </message>
    <message>
        <source>WiFi: the pass phrase must be 8 to 63 plain characters.</source>
        <translation>WiFi: пароль должен содержать от 8 до 63 латинских символов.</translation>
    </message>
    <message>
        <source>WiFi: network &quot;%1&quot; saved, connecting.</source>
        <translation>WiFi: сеть &quot;%1&quot; сохранена, подключение.</translation>
    </message>
    <message>
        <source>WiFi: connected.</source>
        <translation>WiFi: подключено.</translation>
    </message>
    <message>
        <source>WiFi: the supplicant does not answer.</source>
        <translation>WiFi: wpa_supplicant не отвечает.</translation>
    </message>
    <message>
        <source>WiFi: %1.</source>
        <translation>WiFi: %1.</translation>
    </message>
    <message>
        <source>Internal modem power if %1.</source>
        <translation>Питание встроенного модема %1.</translation>
    </message>
    <message>
        <source>GPRS: the modem power cannot be switched.</source>
        <translation>GPRS: не удаётся переключить питание модема.</translation>
    </message>
    <message>
        <source>GPRS: bad APN &quot;%1&quot; (letters, digits, dots, dashes).</source>
        <translation>GPRS: неверная точка доступа &quot;%1&quot; (латинские буквы, цифры, точки, дефисы).</translation>
    </message>
    <message>
        <source>GPRS: bad number &quot;%1&quot; (digits, *, # and +).</source>
        <translation>GPRS: неверный номер &quot;%1&quot; (цифры, *, # и +).</translation>
    </message>
    <message>
        <source>GPRS: dial %1 on %2, APN &quot;%3&quot;.</source>
        <translation>GPRS: набор %1 на %2, точка доступа &quot;%3&quot;.</translation>
    </message>
    <message>
        <source>GPRS: dialling...</source>
        <translation>GPRS: набор номера...</translation>
    </message>
    <message>
        <source>GPRS: no number or no port.</source>
        <translation>GPRS: не задан номер или порт.</translation>
    </message>
    <message>
        <source>GPRS: there is no port %1.</source>
        <translation>GPRS: порта %1 нет.</translation>
    </message>
    <message>
        <source>GPRS: pppd did not start.</source>
        <translation>GPRS: pppd не запустился.</translation>
    </message>
    <message>
        <source>GPRS: link up (%1).</source>
        <translation>GPRS: соединение установлено (%1).</translation>
    </message>
    <message>
        <source>GPRS: pppd running, no link yet.</source>
        <translation>GPRS: pppd работает, соединения ещё нет.</translation>
    </message>
    <message>
        <source>GPRS: pppd not running.</source>
        <translation>GPRS: pppd не запущен.</translation>
    </message>
    <message>
        <source>GPRS: hang up.</source>
        <translation>GPRS: разъединение.</translation>
    </message>
    <message>
        <source>GPRS: link down.</source>
        <translation>GPRS: соединение разорвано.</translation>
    </message>
    <message>
        <source>GPRS: pppd started.</source>
        <translation>GPRS: pppd запущен.</translation>
    </message>
    <message>
        <source>GPRS: pppd finished.</source>
        <translation>GPRS: pppd завершён.</translation>
    </message>
    <message>
        <source>GPRS: bad host &quot;%1&quot;.</source>
        <translation>GPRS: неверный адрес &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>GPRS: the link is down, dial first.</source>
        <translation>GPRS: нет соединения, сначала соединитесь.</translation>
    </message>
    <message>
        <source>Ping %1 over %2:</source>
        <translation>Ping %1 через %2:</translation>
    </message>
</context>
<context>
    <name>MLogSystem</name>
    <message>
        <source>Time run:           %1
Application:        %2
Version:            %3 build %10 (Release)
Compile date/time:  %8 %9
QT version:         %7
Path/File name:     %4
Computer:           %5
User:               %6
</source>
        <translation>Время запуска:      %1
Приложение:         %2
Версия:             %3 сборка %10 (Release)
Дата/время сборки:  %8 %9
Версия QT:          %7
Путь/имя файла:     %4
Компьютер:          %5
Пользователь:       %6
</translation>
    </message>
    <message>
        <source>Events:</source>
        <translation>События:</translation>
    </message>
</context>
<context>
    <name>MNetwork</name>
    <message>
        <source>#</source>
        <translation>#</translation>
    </message>
    <message>
        <source># Network configuration file.</source>
        <translation># Network configuration file.</translation>
    </message>
    <message>
        <source># Created by Bellwind software (%1).</source>
        <translation># Created by Bellwind software (%1).</translation>
    </message>
    <message>
        <source># The loopback interface</source>
        <translation># The loopback interface</translation>
    </message>
    <message>
        <source>auto lo</source>
        <translation>auto lo</translation>
    </message>
    <message>
        <source>iface lo inet loopback</source>
        <translation>iface lo inet loopback</translation>
    </message>
    <message>
        <source># The wired ethernet interface</source>
        <translation># The wired ethernet interface</translation>
    </message>
    <message>
        <source># The wireless ethernet interface</source>
        <translation># The wireless ethernet interface</translation>
    </message>
    <message>
        <source># The GRPS/3G/4G interface</source>
        <translation># The GRPS/3G/4G interface</translation>
    </message>
    <message>
        <source>auto %1</source>
        <translation>auto %1</translation>
    </message>
    <message>
        <source>iface %1 inet %2</source>
        <translation>iface %1 inet %2</translation>
    </message>
    <message>
        <source> address %1</source>
        <translation> address %1</translation>
    </message>
    <message>
        <source> netmask %1</source>
        <translation> netmask %1</translation>
    </message>
    <message>
        <source> gateway %1</source>
        <translation> gateway %1</translation>
    </message>
    <message>
        <source>nameserver %1</source>
        <translation>nameserver %1</translation>
    </message>
</context>
<context>
    <name>MVersionFunction</name>
    <message>
        <source>Linux Embedded</source>
        <translation>Встраиваемый Linux</translation>
    </message>
</context>
<context>
    <name>MagCardThread</name>
    <message>
        <source>MSR: MSR device open error (%1)</source>
        <translation>MSR: Ошибка открытия считывателя магнитных карт (%1)</translation>
    </message>
    <message>
        <source>MSR: MSR device open success.</source>
        <translation>MSR: Считыватель магнитных карт открыт.</translation>
    </message>
    <message>
        <source>MSR: MSR file descriptor = %1</source>
        <translation>MSR: Дескриптор файла считывателя = %1</translation>
    </message>
    <message>
        <source>MagCardThread &lt;run&gt; finished.</source>
        <translation>MagCardThread &lt;run&gt; завершён.</translation>
    </message>
    <message>
        <source>MSR: MSR read: track 1 (len=%1): %2 track 2 (len=%3): %4 track 3 (len=%5): %6</source>
        <translation>MSR: Прочитано: дорожка 1 (длина=%1): %2 дорожка 2 (длина=%3): %4 дорожка 3 (длина=%5): %6</translation>
    </message>
</context>
<context>
    <name>MarvoFunction</name>
    <message>
        <source>MarvoFunction: DeviceFile error.</source>
        <translation>MarvoFunction: Ошибка файла устройства.</translation>
    </message>
</context>
<context>
    <name>PowerThread</name>
    <message>
        <source>PowerThread: Error open power device.</source>
        <translation>PowerThread: Ошибка открытия устройства питания.</translation>
    </message>
    <message>
        <source>PowerThread: Power device opened.</source>
        <translation>PowerThread: Устройство питания открыто.</translation>
    </message>
    <message>
        <source>PowerThread: Power key pressed. Code: %1</source>
        <translation>PowerThread: Нажата кнопка питания. Код: %1</translation>
    </message>
    <message>
        <source>PowerThread: Suspend key pressed.</source>
        <translation>PowerThread: Нажата кнопка перехода в ждущий режим.</translation>
    </message>
    <message>
        <source>PowerThread: Power device closed.</source>
        <translation>PowerThread: Устройство питания закрыто.</translation>
    </message>
</context>
<context>
    <name>PrintThread</name>
    <message>
        <source>PRN: Printer WakeUp.</source>
        <translation>PRN: Принтер выведен из спящего режима.</translation>
    </message>
    <message>
        <source>PRN: ioctl forward error.</source>
        <translation>PRN: Ошибка ioctl протяжки вперёд.</translation>
    </message>
    <message>
        <source>PRN: Pressed forward button.</source>
        <translation>PRN: Нажата кнопка протяжки вперёд.</translation>
    </message>
    <message>
        <source>PRN: ioctl backward  error.</source>
        <translation>PRN: Ошибка ioctl протяжки назад.</translation>
    </message>
    <message>
        <source>PRN: Pressed backward button.</source>
        <translation>PRN: Нажата кнопка протяжки назад.</translation>
    </message>
    <message>
        <source>PRN: ioctl set contrast error.</source>
        <translation>PRN: Ошибка ioctl установки контрастности.</translation>
    </message>
    <message>
        <source>PRN: ioctl get unprinted lines error.</source>
        <translation>PRN: Ошибка ioctl чтения числа ненапечатанных строк.</translation>
    </message>
    <message>
        <source>PRN: Printer status: %1 (%2).</source>
        <translation>PRN: Состояние принтера: %1 (%2).</translation>
    </message>
    <message>
        <source>PRN: No paper.</source>
        <translation>PRN: Нет бумаги.</translation>
    </message>
    <message>
        <source>PRN: Begin printer test.</source>
        <translation>PRN: Начало теста принтера.</translation>
    </message>
    <message>
        <source>PRN: Error open printer device.</source>
        <translation>PRN: Ошибка открытия устройства принтера.</translation>
    </message>
    <message>
        <source>PRN: Open print device OK.</source>
        <translation>PRN: Устройство принтера открыто.</translation>
    </message>
    <message>
        <source>PRN: Begin print message</source>
        <translation>PRN: Начало печати сообщения</translation>
    </message>
    <message>
        <source>PRN: Print start.</source>
        <translation>PRN: Печать начата.</translation>
    </message>
    <message>
        <source>PRN: consistence is %1</source>
        <translation>PRN: Контрастность печати: %1</translation>
    </message>
    <message>
        <source>PRN: Test starting...</source>
        <translation>PRN: Запуск теста...</translation>
    </message>
    <message>
        <source>PRN: Print finish (time elapsed: %1).</source>
        <translation>PRN: Печать завершена (затрачено: %1).</translation>
    </message>
    <message>
        <source>Wait next cycle.</source>
        <translation>Ожидание следующего цикла.</translation>
    </message>
    <message>
        <source>PRN: Printer buffer: %1. Unprinted lines: %2</source>
        <translation>PRN: Буфер принтера: %1. Ненапечатанных строк: %2</translation>
    </message>
    <message>
        <source>PRN: Main loop end.</source>
        <translation>PRN: Основной цикл завершён.</translation>
    </message>
    <message>
        <source>PRN: End PrintThread printer test.</source>
        <translation>PRN: Тест принтера PrintThread завершён.</translation>
    </message>
    <message>
        <source>PrintThread &lt;run&gt; finished.</source>
        <translation>PrintThread &lt;run&gt; завершён.</translation>
    </message>
</context>
<context>
    <name>RFIDThread</name>
    <message>
        <source>RFID: open RFID device error. No RFID present.</source>
        <translation>RFID: Ошибка открытия устройства RFID. Считыватель RFID отсутствует.</translation>
    </message>
    <message>
        <source>RFID: RFID device open success.</source>
        <translation>RFID: Устройство RFID открыто.</translation>
    </message>
    <message>
        <source>RFID: config = %1, fd = %2</source>
        <translation>RFID: конфигурация = %1, fd = %2</translation>
    </message>
    <message>
        <source>RFID: RFID card NO. is:%1</source>
        <translation>RFID: Номер карты RFID:%1</translation>
    </message>
    <message>
        <source>RFID: RFID device close.</source>
        <translation>RFID: Устройство RFID закрыто.</translation>
    </message>
</context>
<context>
    <name>RunTestQuestionForm</name>
    <message>
        <source>Auto test</source>
        <translation>Автотест</translation>
    </message>
    <message>
        <source>Manual test</source>
        <translation>Ручной тест</translation>
    </message>
    <message>
        <source>Time to start:</source>
        <translation>До запуска:</translation>
    </message>
</context>
<context>
    <name>SystemMenuDialog</name>
    <message>
        <source>System menu</source>
        <translation>Системное меню</translation>
    </message>
    <message>
        <source>Press reboot.</source>
        <translation>Нажата перезагрузка.</translation>
    </message>
    <message>
        <source>Press power off.</source>
        <translation>Нажато выключение.</translation>
    </message>
    <message>
        <source>Exit programm.</source>
        <translation>Выход из программы.</translation>
    </message>
    <message>
        <source>Run KOVAKas.</source>
        <translation>Запуск KOVAKas.</translation>
    </message>
    <message>
        <source>Press screen calibrate.</source>
        <translation>Нажата калибровка экрана.</translation>
    </message>
    <message>
        <source>Run USB Flash update.</source>
        <translation>Запуск обновления с USB Flash.</translation>
    </message>
    <message>
        <source>Run FTP update.</source>
        <translation>Запуск обновления по FTP.</translation>
    </message>
    <message>
        <source>Run ArchManager.</source>
        <translation>Запуск ArchManager.</translation>
    </message>
    <message>
        <source>Run ShtrihTD.</source>
        <translation>Запуск ShtrihTD.</translation>
    </message>
    <message>
        <source>Run AtolTD.</source>
        <translation>Запуск AtolTD.</translation>
    </message>
    <message>
        <source>Run V3Sensor.</source>
        <translation>Запуск V3Sensor.</translation>
    </message>
</context>
<context>
    <name>TestDisplayColor</name>
    <message>
        <source>Dialog</source>
        <translation>Диалог</translation>
    </message>
</context>
<context>
    <name>UPSFunction</name>
    <message>
        <source>UPS: Analyse UPS state.</source>
        <translation>UPS: Анализ состояния ИБП.</translation>
    </message>
    <message>
        <source>UPS: UPS file ERROR</source>
        <translation>UPS: ОШИБКА файла ИБП</translation>
    </message>
    <message>
        <source>UPS: Error found UPS state.</source>
        <translation>UPS: Не найдено состояние ИБП.</translation>
    </message>
    <message>
        <source>UPS: Error open UPS state.</source>
        <translation>UPS: Ошибка открытия состояния ИБП.</translation>
    </message>
    <message>
        <source>UPS: Good power! Print enable!</source>
        <translation>UPS: Питание в норме! Печать разрешена!</translation>
    </message>
    <message>
        <source>UPS: Low power! Print disable!</source>
        <translation>UPS: Низкий заряд! Печать запрещена!</translation>
    </message>
    <message>
        <source>UPS: Open AC fail! Please check UPS!</source>
        <translation>UPS: Не удалось открыть состояние сети! Проверьте ИБП!</translation>
    </message>
    <message>
        <source>UPS: Error verify SUM8</source>
        <translation>UPS: Ошибка проверки SUM8</translation>
    </message>
    <message>
        <source>UPS: Change capacity - %1. Voltage - %2</source>
        <translation>UPS: Изменение заряда - %1. Напряжение - %2</translation>
    </message>
    <message>
        <source>UPS: Change status - %1</source>
        <translation>UPS: Изменение состояния - %1</translation>
    </message>
    <message>
        <source>UPS: Change AC state - %1</source>
        <translation>UPS: Изменение состояния сети - %1</translation>
    </message>
</context>
<context>
    <name>USBSignal</name>
    <message>
        <source>USBSignal: Error bind socket.</source>
        <translation>USBSignal: Ошибка привязки сокета (bind).</translation>
    </message>
    <message>
        <source>USBSignal: Error creating socket.</source>
        <translation>USBSignal: Ошибка создания сокета.</translation>
    </message>
    <message>
        <source>USBSignal: Socket %1 init complete.</source>
        <translation>USBSignal: Сокет %1 инициализирован.</translation>
    </message>
    <message>
        <source>USBSignal: Error poll socket (%1: %1).</source>
        <translation>USBSignal: Ошибка poll сокета (%1: %1).</translation>
    </message>
    <message>
        <source>USBSignal: Error recv socket (%1).</source>
        <translation>USBSignal: Ошибка recv сокета (%1).</translation>
    </message>
    <message>
        <source>USBSignal: Socket closed.</source>
        <translation>USBSignal: Сокет закрыт.</translation>
    </message>
    <message>
        <source>USBSignal: mas = %1. len=%2.</source>
        <translation>USBSignal: mas = %1. len=%2.</translation>
    </message>
    <message>
        <source>USBSignal: Add USB device (%1).</source>
        <translation>USBSignal: Подключено USB-устройство (%1).</translation>
    </message>
    <message>
        <source>USBSignal: Remove USB device (%1).</source>
        <translation>USBSignal: Отключено USB-устройство (%1).</translation>
    </message>
    <message>
        <source>USBSignal: Change USB device state (%1).</source>
        <translation>USBSignal: Изменено состояние USB-устройства (%1).</translation>
    </message>
</context>
<context>
    <name>VFDDisplayThread</name>
    <message>
        <source>VFD: Set light error.</source>
        <translation>VFD: Ошибка установки подсветки.</translation>
    </message>
    <message>
        <source>VFD: Set contrast error (contrast = %1).</source>
        <translation>VFD: Ошибка установки контрастности (контрастность = %1).</translation>
    </message>
    <message>
        <source>VFD: Error open customer display [%1].</source>
        <translation>VFD: Ошибка открытия дисплея покупателя [%1].</translation>
    </message>
    <message>
        <source>VFD: Open customer display OK.</source>
        <translation>VFD: Дисплей покупателя открыт.</translation>
    </message>
    <message>
        <source>VFD: Light On.</source>
        <translation>VFD: Подсветка включена.</translation>
    </message>
    <message>
        <source>VFD: Dots: row=%1, col=%2.</source>
        <translation>VFD: Точки: строка=%1, столбец=%2.</translation>
    </message>
    <message>
        <source>VFD: Symb: row=%1, col=%2.</source>
        <translation>VFD: Символы: строка=%1, столбец=%2.</translation>
    </message>
    <message>
        <source>VFD: Thread customer end.</source>
        <translation>VFD: Поток дисплея покупателя завершён.</translation>
    </message>
    <message>
        <source>VFDDisplayThread &lt;run&gt; finished.</source>
        <translation>VFDDisplayThread &lt;run&gt; завершён.</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Scan HW...</source>
        <translation>Поиск оборудования...</translation>
    </message>
</context>
<context>
    <name>upsinfodialog</name>
    <message>
        <source>UPS information</source>
        <translation>Информация об ИБП</translation>
    </message>
    <message>
        <source>Power source present</source>
        <translation>Наличие источника питания</translation>
    </message>
    <message>
        <source>Power source name</source>
        <translation>Имя источника питания</translation>
    </message>
    <message>
        <source>Power source state</source>
        <translation>Состояние источника питания</translation>
    </message>
    <message>
        <source>Power source health</source>
        <translation>Исправность источника питания</translation>
    </message>
    <message>
        <source>Power source technology</source>
        <translation>Тип источника питания</translation>
    </message>
    <message>
        <source>Power source voltage</source>
        <translation>Напряжение источника питания</translation>
    </message>
    <message>
        <source>Power source capacity</source>
        <translation>Заряд источника питания</translation>
    </message>
    <message>
        <source>Power source design capacity</source>
        <translation>Паспортная ёмкость источника питания</translation>
    </message>
    <message>
        <source>AC power source</source>
        <translation>Сетевое питание</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Закрыть</translation>
    </message>
    <message>
        <source>Present</source>
        <translation>Есть</translation>
    </message>
    <message>
        <source>Not present</source>
        <translation>Нет</translation>
    </message>
    <message>
        <source>AC power on</source>
        <translation>Сеть есть</translation>
    </message>
    <message>
        <source>AC power off</source>
        <translation>Сети нет</translation>
    </message>
</context>
</TS>
