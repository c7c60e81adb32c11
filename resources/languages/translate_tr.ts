<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="tr_TR" sourcelanguage="en">
<context>
    <name>AboutDialog</name>
    <message>
        <source>About</source>
        <translation>Hakkında</translation>
    </message>
    <message>
        <source>Kestrova logo</source>
        <translation>Kestrova logosu</translation>
    </message>
    <message>
        <source>Kestrova</source>
        <translation>Kestrova</translation>
    </message>
    <message>
        <source>© %1 Kestrova. All rights reserved.</source>
        <extracomment>%1 is the current year.</extracomment>
        <translation>© %1 Kestrova. Tüm hakları saklıdır.</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Sürüm %1</translation>
    </message>
    <message>
        <source>Website: %1</source>
        <extracomment>%1 is a link that shows the address of the website.</extracomment>
        <translation>Web sitesi: %1</translation>
    </message>
    <message>
        <source>E-mail: %1</source>
        <extracomment>%1 is a link that shows an e-mail address.</extracomment>
        <translation>E-posta: %1</translation>
    </message>
    <message>
        <source>Telephone: %1</source>
        <extracomment>%1 is a link that shows a telephone number.</extracomment>
        <translation>Telefon: %1</translation>
    </message>
    <message>
        <source>Addresses:
Headquarters: %1
EU branch: %2
Technology park office: %3</source>
        <extracomment>%1, %2 and %3 are postal addresses.</extracomment>
        <translation>Adresler:
Merkez: %1
AB şubesi: %2
Teknopark ofisi: %3</translation>
    </message>
    <message>
        <source>Kestrova - Inertial sensing that holds its heading</source>
        <translation>Kestrova - Yönünü şaşırmayan ataletsel algılama</translation>
    </message>
</context>
<context>
    <name>DeviceInfoDialog</name>
    <message>
        <source>Device Info</source>
        <translation>Cihaz Bilgileri</translation>
    </message>
    <message>
        <source>Baud Rate</source>
        <translation>Baud Hızı</translation>
    </message>
    <message>
        <source>COM Port</source>
        <translation>COM Portu</translation>
    </message>
    <message>
        <source>Serial No (S/N)</source>
        <translation>Seri No (S/N)</translation>
    </message>
    <message>
        <source>Firmware Version</source>
        <translation>Cihaz Yazılımı Sürümü</translation>
    </message>
    <message>
        <source>Received from device</source>
        <translation>Cihazdan alınan veriler</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Kapat</translation>
    </message>
    <message>
        <source>Data rate: %1 Hz</source>
        <translation>Veri hızı: %1 Hz</translation>
    </message>
    <message>
        <source>Outputs: 0x%1</source>
        <translation>Çıkışlar: 0x%1</translation>
    </message>
</context>
<context>
    <name>HelpDialog</name>
    <message>
        <source>Help</source>
        <translation>Yardım</translation>
    </message>
    <message>
        <source>Kestrova logo</source>
        <translation>Kestrova logosu</translation>
    </message>
    <message>
        <source>User guide</source>
        <translation>Kullanım kılavuzu</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Kapat</translation>
    </message>
    <message>
        <source>Kestrova - User Guide</source>
        <translation>Kestrova - Kullanım Kılavuzu</translation>
    </message>
    <message>
        <source>&lt;h3&gt;Getting Started&lt;/h3&gt;&lt;p&gt;&lt;b&gt;1. Scanning for Devices&lt;/b&gt;&lt;br&gt;Plug the device in and choose &lt;i&gt;Connection → Scan for Devices&lt;/i&gt;. The status line lists the ports found.&lt;/p&gt;&lt;p&gt;&lt;b&gt;2. Connecting to a Device&lt;/b&gt;&lt;br&gt;Choose &lt;i&gt;Connection → Connect&lt;/i&gt; and pick the port of your device; ports show only after a scan, so if it is missing, check the cable and scan again. If the port cannot be opened, join the group &lt;i&gt;dialout&lt;/i&gt; and log in again, or close the program that uses it. The baud rate is detected automatically, which takes a few seconds.&lt;/p&gt;&lt;p&gt;&lt;b&gt;3. Viewing Device Data&lt;/b&gt;&lt;br&gt;The data panel shows the latest values:&lt;/p&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;Quaternion (unitless):&lt;/b&gt; orientation in x, y, z, w order&lt;/li&gt;&lt;li&gt;&lt;b&gt;Euler Angles (°):&lt;/b&gt; roll, pitch and yaw in degrees&lt;/li&gt;&lt;li&gt;&lt;b&gt;Covariance (rad²):&lt;/b&gt; uncertainty of the orientation&lt;/li&gt;&lt;li&gt;&lt;b&gt;Magnetic Field (unitless):&lt;/b&gt; calibrated magnetometer readings&lt;/li&gt;&lt;li&gt;&lt;b&gt;Linear Acceleration (m/s²):&lt;/b&gt; acceleration without gravity&lt;/li&gt;&lt;li&gt;&lt;b&gt;Angular Rate (rad/s):&lt;/b&gt; rotational velocity&lt;/li&gt;&lt;li&gt;&lt;b&gt;Pressure (hPa):&lt;/b&gt; barometric pressure&lt;/li&gt;&lt;/ul&gt;&lt;h3&gt;Configuration&lt;/h3&gt;&lt;p&gt;&lt;b&gt;Device Settings&lt;/b&gt;&lt;br&gt;Choose &lt;i&gt;Settings → Open Settings&lt;/i&gt;. &lt;b&gt;Save to Device&lt;/b&gt; writes what you chose:&lt;/p&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;Serial Port Settings:&lt;/b&gt; the baud rate of the device&lt;/li&gt;&lt;li&gt;&lt;b&gt;Output Selection:&lt;/b&gt; which data the device sends. Keep the quaternion checked: connecting finds a device by it.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Data Rate:&lt;/b&gt; how often it sends them, 50 Hz to 1000 Hz. Connecting never tries 1000000 baud and cannot find a device that is set to it: choose 921600 and fewer outputs.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Presets:&lt;/b&gt; common selections in one step&lt;/li&gt;&lt;/ul&gt;&lt;p&gt;&lt;b&gt;Magnetometer Calibration&lt;/b&gt;&lt;br&gt;Choose &lt;i&gt;Settings → Magnetometer Calibration&lt;/i&gt;, away from iron and electric motors:&lt;/p&gt;&lt;ol&gt;&lt;li&gt;Press &lt;b&gt;Start Calibration&lt;/b&gt;.&lt;/li&gt;&lt;li&gt;Turn the device slowly until it has pointed in every direction.&lt;/li&gt;&lt;li&gt;Press &lt;b&gt;Stop Calibration&lt;/b&gt; and check the quality.&lt;/li&gt;&lt;li&gt;Press &lt;b&gt;Apply Calibration&lt;/b&gt; to send the correction to the device.&lt;/li&gt;&lt;li&gt;Press &lt;b&gt;Save to Device&lt;/b&gt; to keep it when the power is off.&lt;/li&gt;&lt;/ol&gt;&lt;h3&gt;Visualization&lt;/h3&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;3D Orientation Display:&lt;/b&gt; the attitude of the device. Drag with the left mouse button to orbit and with the right one to pan; turn the wheel to zoom.&lt;/li&gt;&lt;li&gt;&lt;b&gt;RPY Graph:&lt;/b&gt; roll, pitch and yaw over the latest samples.&lt;/li&gt;&lt;/ul&gt;&lt;h3&gt;Additional Features&lt;/h3&gt;&lt;p&gt;&lt;b&gt;Device Info&lt;/b&gt;&lt;br&gt;&lt;i&gt;Connection → Device Info&lt;/i&gt; shows the serial number and the firmware version. Have both at hand when you &lt;a href=&quot;%1&quot;&gt;contact us&lt;/a&gt;.&lt;/p&gt;&lt;p&gt;&lt;b&gt;Language Selection&lt;/b&gt;&lt;br&gt;Choose English or Turkish from the &lt;i&gt;Language&lt;/i&gt; menu; it applies at once.&lt;/p&gt;&lt;p&gt;&lt;b&gt;Factory Reset&lt;/b&gt;&lt;br&gt;Press &lt;b&gt;Revert to Factory Settings&lt;/b&gt; in &lt;i&gt;Settings → Open Settings&lt;/i&gt;, then restart the device.&lt;/p&gt;</source>
        <extracomment>The user guide. Names in bold are those of the windows; %1 is the address of a website.</extracomment>
        <translation>&lt;h3&gt;Başlarken&lt;/h3&gt;&lt;p&gt;&lt;b&gt;1. Cihazları Tarama&lt;/b&gt;&lt;br&gt;Cihazı takın ve &lt;i&gt;Bağlantı → Cihazları Tara&lt;/i&gt; komutunu seçin. Bulunan portlar durum satırında listelenir.&lt;/p&gt;&lt;p&gt;&lt;b&gt;2. Cihaza Bağlanma&lt;/b&gt;&lt;br&gt;&lt;i&gt;Bağlantı → Bağlan&lt;/i&gt; komutuyla cihazınızın portunu seçin; portlar ancak taramadan sonra görünür, bu yüzden aradığınız port yoksa kabloyu kontrol edip yeniden tarayın. Port açılamıyorsa &lt;i&gt;dialout&lt;/i&gt; grubuna katılıp oturumu yeniden açın ya da portu kullanan programı kapatın. Baud hızı otomatik olarak belirlenir; bu birkaç saniye sürer.&lt;/p&gt;&lt;p&gt;&lt;b&gt;3. Cihaz Verilerini İzleme&lt;/b&gt;&lt;br&gt;Veri panelinde en son değerler gösterilir:&lt;/p&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;Kuaterniyon (birimsiz):&lt;/b&gt; x, y, z, w sırasıyla yönelim&lt;/li&gt;&lt;li&gt;&lt;b&gt;Euler Açıları (°):&lt;/b&gt; derece olarak yalpa, yunuslama ve sapma&lt;/li&gt;&lt;li&gt;&lt;b&gt;Kovaryans (rad²):&lt;/b&gt; yönelimin belirsizliği&lt;/li&gt;&lt;li&gt;&lt;b&gt;Manyetik Alan (birimsiz):&lt;/b&gt; kalibre edilmiş manyetometre ölçümleri&lt;/li&gt;&lt;li&gt;&lt;b&gt;Doğrusal İvme (m/s²):&lt;/b&gt; yer çekiminden arındırılmış ivme&lt;/li&gt;&lt;li&gt;&lt;b&gt;Açısal Hız (rad/s):&lt;/b&gt; dönme hızı&lt;/li&gt;&lt;li&gt;&lt;b&gt;Basınç (hPa):&lt;/b&gt; barometrik basınç&lt;/li&gt;&lt;/ul&gt;&lt;h3&gt;Yapılandırma&lt;/h3&gt;&lt;p&gt;&lt;b&gt;Cihaz Ayarları&lt;/b&gt;&lt;br&gt;&lt;i&gt;Ayarlar → Ayarları Aç&lt;/i&gt; komutunu seçin. &lt;b&gt;Cihaza Kaydet&lt;/b&gt; düğmesi seçtiklerinizi cihaza yazar:&lt;/p&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;Seri Port Ayarları:&lt;/b&gt; cihazın baud hızı&lt;/li&gt;&lt;li&gt;&lt;b&gt;Çıkış Seçimi:&lt;/b&gt; cihazın göndereceği veriler. Kuaterniyonu işaretli bırakın: bağlanırken cihaz onunla bulunur.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Veri Hızı:&lt;/b&gt; verilerin gönderilme sıklığı, 50 Hz ile 1000 Hz arası. Bağlanırken 1000000 baud hiç denenmez ve bu hıza ayarlanmış cihaz bulunamaz: 921600 baud ve daha az çıkış seçin.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Ön Ayarlar:&lt;/b&gt; sık kullanılan seçimler tek adımda&lt;/li&gt;&lt;/ul&gt;&lt;p&gt;&lt;b&gt;Manyetometre Kalibrasyonu&lt;/b&gt;&lt;br&gt;Demir cisimlerden ve elektrik motorlarından uzak bir yerde &lt;i&gt;Ayarlar → Manyetometre Kalibrasyonu&lt;/i&gt; komutunu seçin:&lt;/p&gt;&lt;ol&gt;&lt;li&gt;&lt;b&gt;Kalibrasyonu Başlat&lt;/b&gt; düğmesine basın.&lt;/li&gt;&lt;li&gt;Cihazı her yöne bakana dek yavaşça döndürün.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Kalibrasyonu Durdur&lt;/b&gt; düğmesine basın ve kaliteyi kontrol edin.&lt;/li&gt;&lt;li&gt;Düzeltmeyi cihaza göndermek için &lt;b&gt;Kalibrasyonu Uygula&lt;/b&gt; düğmesine basın.&lt;/li&gt;&lt;li&gt;Düzeltmenin güç kesildiğinde de korunması için &lt;b&gt;Cihaza Kaydet&lt;/b&gt; düğmesine basın.&lt;/li&gt;&lt;/ol&gt;&lt;h3&gt;Görselleştirme&lt;/h3&gt;&lt;ul&gt;&lt;li&gt;&lt;b&gt;3B Yönelim Görünümü:&lt;/b&gt; cihazın yönelimi. Farenin sol düğmesiyle sürükleyerek görünümü döndürün, sağ düğmesiyle sürükleyerek kaydırın. Fare tekerleğiyle yakınlaştırıp uzaklaştırın.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Yalpa-Yunuslama-Sapma Grafiği:&lt;/b&gt; Son örneklerin yalpa, yunuslama ve sapma açıları.&lt;/li&gt;&lt;/ul&gt;&lt;h3&gt;Ek Özellikler&lt;/h3&gt;&lt;p&gt;&lt;b&gt;Cihaz Bilgileri&lt;/b&gt;&lt;br&gt;&lt;i&gt;Bağlantı → Cihaz Bilgileri&lt;/i&gt; komutu seri numarasını ve cihaz yazılımı sürümünü gösterir. &lt;a href=&quot;%1&quot;&gt;Bize ulaşırken&lt;/a&gt; ikisini de hazır bulundurun.&lt;/p&gt;&lt;p&gt;&lt;b&gt;Dil Seçimi&lt;/b&gt;&lt;br&gt;&lt;i&gt;Dil&lt;/i&gt; menüsünden English ya da Türkçe seçeneğini seçin; seçim hemen geçerli olur.&lt;/p&gt;&lt;p&gt;&lt;b&gt;Fabrika Ayarlarına Dönüş&lt;/b&gt;&lt;br&gt;&lt;i&gt;Ayarlar → Ayarları Aç&lt;/i&gt; komutuyla açılan pencerede &lt;b&gt;Fabrika Ayarlarına Dön&lt;/b&gt; düğmesine basın, ardından cihazı yeniden başlatın.&lt;/p&gt;</translation>
    </message>
</context>
<context>
    <name>MagnetoCalibrationDialog</name>
    <message>
        <source>Magnetometer Calibration</source>
        <translation>Manyetometre Kalibrasyonu</translation>
    </message>
    <message>
        <source>Calibration Parameters</source>
        <translation>Kalibrasyon Parametreleri</translation>
    </message>
    <message>
        <source>BiasX</source>
        <translation>Ofset X</translation>
    </message>
    <message>
        <source>BiasY</source>
        <translation>Ofset Y</translation>
    </message>
    <message>
        <source>BiasZ</source>
        <translation>Ofset Z</translation>
    </message>
    <message>
        <source>ScaleX</source>
        <translation>Ölçek X</translation>
    </message>
    <message>
        <source>ScaleY</source>
        <translation>Ölçek Y</translation>
    </message>
    <message>
        <source>ScaleZ</source>
        <translation>Ölçek Z</translation>
    </message>
    <message>
        <source>Results Panel</source>
        <translation>Sonuçlar</translation>
    </message>
    <message>
        <source>AvgNorm</source>
        <translation>Ort. norm</translation>
    </message>
    <message>
        <source>StdDev</source>
        <translation>Std. sapma</translation>
    </message>
    <message>
        <source>Samples</source>
        <translation>Örnek sayısı</translation>
    </message>
    <message>
        <source>Quality</source>
        <translation>Kalite</translation>
    </message>
    <message>
        <source>INFO</source>
        <translation>BİLGİ</translation>
    </message>
    <message>
        <source>Magnetic Field (Sphere 3D scatter plot)</source>
        <translation>Manyetik Alan (küre üzerinde 3B saçılım grafiği)</translation>
    </message>
    <message>
        <source>Start Calibration</source>
        <translation>Kalibrasyonu Başlat</translation>
    </message>
    <message>
        <source>Stop Calibration</source>
        <translation>Kalibrasyonu Durdur</translation>
    </message>
    <message>
        <source>Load Calibration</source>
        <translation>Kalibrasyonu Yükle</translation>
    </message>
    <message>
        <source>Apply Calibration</source>
        <translation>Kalibrasyonu Uygula</translation>
    </message>
    <message>
        <source>Save to Device</source>
        <translation>Cihaza Kaydet</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Kapat</translation>
    </message>
    <message>
        <source>Calibration started...</source>
        <translation>Kalibrasyon başladı...</translation>
    </message>
    <message>
        <source>Calibration stopped.</source>
        <translation>Kalibrasyon durduruldu.</translation>
    </message>
    <message>
        <source>No samples collected!</source>
        <translation>Hiç örnek toplanmadı!</translation>
    </message>
    <message>
        <source>Final Quality: avg|p|=%1, std|p|=%2, N=%3, %4</source>
        <translation>Nihai kalite: ort|p|=%1, std|p|=%2, N=%3, %4</translation>
    </message>
    <message>
        <source>Good</source>
        <translation>İyi</translation>
    </message>
    <message>
        <source>Acceptable</source>
        <translation>Kabul edilebilir</translation>
    </message>
    <message>
        <source>Bad</source>
        <translation>Kötü</translation>
    </message>
    <message>
        <source>Do not apply: fewer than 9 samples do not determine an ellipsoid.</source>
        <translation>Uygulamayın: 9 örnekten azı bir elipsoit belirlemez.</translation>
    </message>
    <message>
        <source>Do not apply: the fit is not finite. Turn the device through all directions.</source>
        <translation>Uygulamayın: hesaplanan elipsoit sonlu değil. Cihazı bütün yönlere döndürün.</translation>
    </message>
    <message>
        <source>Do not apply: the surface through the samples is not an ellipsoid. Turn the device through all directions.</source>
        <translation>Uygulamayın: örneklerden geçen yüzey bir elipsoit değil. Cihazı bütün yönlere döndürün.</translation>
    </message>
    <message>
        <source>Do not apply: samples from so few directions do not determine an ellipsoid. Turn the device through all directions.</source>
        <translation>Uygulamayın: bu kadar az yönden alınan örnekler bir elipsoit belirlemez. Cihazı bütün yönlere döndürün.</translation>
    </message>
    <message>
        <source>Reading %1 bytes ...</source>
        <translation>%1 bayt okunuyor ...</translation>
    </message>
    <message>
        <source>Data load successful from device: %1 points</source>
        <translation>Veriler cihazdan başarıyla yüklendi: %1 nokta</translation>
    </message>
    <message>
        <source>Reading block %1</source>
        <translation>Blok okunuyor: %1</translation>
    </message>
    <message>
        <source> Read failed</source>
        <translation> Okuma başarısız</translation>
    </message>
    <message>
        <source>Failed to apply calibration to device.</source>
        <translation>Kalibrasyon cihaza uygulanamadı.</translation>
    </message>
    <message>
        <source>Applied calibration: Bias = [%1, %2, %3], L = [%4, %5, %6, %7, %8, %9, %10, %11, %12]</source>
        <translation>Kalibrasyon uygulandı: Ofset = [%1, %2, %3], L = [%4, %5, %6, %7, %8, %9, %10, %11, %12]</translation>
    </message>
    <message>
        <source>Calibration saved to device flash.</source>
        <translation>Kalibrasyon cihazın kalıcı belleğine kaydedildi.</translation>
    </message>
    <message>
        <source>Failed to save calibration to device.</source>
        <translation>Kalibrasyon cihaza kaydedilemedi.</translation>
    </message>
    <message>
        <source>Calibration log</source>
        <translation>Kalibrasyon günlüğü</translation>
    </message>
    <message>
        <source>3D view of the corrected samples</source>
        <translation>Düzeltilmiş örneklerin 3B görünümü</translation>
    </message>
</context>
<context>
    <name>MagnetoGLWidget</name>
    <message>
        <source>Corrected data</source>
        <translation>Düzeltilmiş veriler</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Kestrova - Vornix</source>
        <translation>Kestrova - Vornix</translation>
    </message>
    <message>
        <source>Status: Not connected</source>
        <translation>Durum: Bağlı değil</translation>
    </message>
    <message>
        <source>Data Rate: 0 Hz</source>
        <translation>Veri Hızı: 0 Hz</translation>
    </message>
    <message>
        <source>Device Data</source>
        <translation>Cihaz Verileri</translation>
    </message>
    <message>
        <source>Quaternion (unitless)</source>
        <translation>Kuaterniyon (birimsiz)</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Yok</translation>
    </message>
    <message>
        <source>Euler Angles (°)</source>
        <translation>Euler Açıları (°)</translation>
    </message>
    <message>
        <source>Covariance (rad²)</source>
        <translation>Kovaryans (rad²)</translation>
    </message>
    <message>
        <source>Magnetic Field (unitless)</source>
        <translation>Manyetik Alan (birimsiz)</translation>
    </message>
    <message>
        <source>Linear Acceleration (m/s²)</source>
        <translation>Doğrusal İvme (m/s²)</translation>
    </message>
    <message>
        <source>Angular Rate (rad/s)</source>
        <translation>Açısal Hız (rad/s)</translation>
    </message>
    <message>
        <source>Pressure (hPa)</source>
        <translation>Basınç (hPa)</translation>
    </message>
    <message>
        <source>Orientation Display</source>
        <translation>Yönelim Görünümü</translation>
    </message>
    <message>
        <source>Connection</source>
        <translation>Bağlantı</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Ayarlar</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Dil</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Yardım</translation>
    </message>
    <message>
        <source>Scan for Devices</source>
        <translation>Cihazları Tara</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Bağlan</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Bağlantıyı Kes</translation>
    </message>
    <message>
        <source>Show Device Info</source>
        <translation>Cihaz Bilgilerini Göster</translation>
    </message>
    <message>
        <source>Open Settings</source>
        <translation>Ayarları Aç</translation>
    </message>
    <message>
        <source>Open Calibration</source>
        <translation>Kalibrasyonu Aç</translation>
    </message>
    <message>
        <source>Calibration</source>
        <translation>Kalibrasyon</translation>
    </message>
    <message>
        <source>Magnetometer Calibration</source>
        <translation>Manyetometre Kalibrasyonu</translation>
    </message>
    <message>
        <source>Device Info</source>
        <translation>Cihaz Bilgileri</translation>
    </message>
    <message>
        <source>About</source>
        <translation>Hakkında</translation>
    </message>
    <message>
        <source>User Guide</source>
        <translation>Kullanım Kılavuzu</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Bağlı değil</translation>
    </message>
    <message>
        <source>Please connect to a device first.</source>
        <translation>Lütfen önce bir cihaza bağlanın.</translation>
    </message>
    <message>
        <source>No USB serial ports found!</source>
        <translation>USB seri portu bulunamadı!</translation>
    </message>
    <message>
        <source>Scan complete: %1...</source>
        <translation>Tarama tamamlandı: %1...</translation>
    </message>
    <message>
        <source>Please run Scan first, no ports available.</source>
        <translation>Kullanılabilir port yok, lütfen önce tarama yapın.</translation>
    </message>
    <message>
        <source>Select Serial Port</source>
        <translation>Seri Port Seçimi</translation>
    </message>
    <message>
        <source>Available Ports:</source>
        <translation>Kullanılabilir Portlar:</translation>
    </message>
    <message>
        <source>Connection cancelled</source>
        <translation>Bağlantı iptal edildi</translation>
    </message>
    <message>
        <source>Trying %1 @ %2 baud...</source>
        <translation>Deneniyor: %1 @ %2 baud...</translation>
    </message>
    <message>
        <source>Connection failed (no valid baud found)</source>
        <translation>Bağlantı kurulamadı (geçerli baud hızı bulunamadı)</translation>
    </message>
    <message>
        <source>Connected to %1 @ %2 baud</source>
        <translation>Bağlı: %1 @ %2 baud</translation>
    </message>
    <message>
        <source>Receiving %1 Hz</source>
        <translation>Veri alınıyor: %1 Hz</translation>
    </message>
    <message>
        <source>English</source>
        <translation>English</translation>
    </message>
    <message>
        <source>Türkçe</source>
        <translation>Türkçe</translation>
    </message>
    <message>
        <source>Kestrova logo</source>
        <translation>Kestrova logosu</translation>
    </message>
    <message>
        <source>Roll, pitch and yaw over time</source>
        <translation>Yalpa, yunuslama ve sapmanın zaman grafiği</translation>
    </message>
    <message>
        <source>3D view of the orientation</source>
        <translation>Yönelimin 3B görünümü</translation>
    </message>
    <message>
        <source>Orientation as a quaternion in x, y, z, w order, without a unit</source>
        <translation>x, y, z, w sırasıyla kuaterniyon olarak yönelim, birimsiz</translation>
    </message>
    <message>
        <source>Roll, pitch and yaw in degrees</source>
        <translation>Derece cinsinden yalpa, yunuslama ve sapma</translation>
    </message>
    <message>
        <source>Uncertainty of the orientation in square radians</source>
        <translation>Radyan kare cinsinden yönelim belirsizliği</translation>
    </message>
    <message>
        <source>Calibrated magnetometer readings along x, y and z, without a unit</source>
        <translation>x, y ve z eksenlerinde kalibre edilmiş manyetometre ölçümleri, birimsiz</translation>
    </message>
    <message>
        <source>Acceleration without gravity along x, y and z in metres per second squared</source>
        <translation>x, y ve z eksenlerinde yer çekiminden arındırılmış ivme, metre bölü saniye kare</translation>
    </message>
    <message>
        <source>Rotational velocity about x, y and z in radians per second</source>
        <translation>x, y ve z eksenleri etrafında dönme hızı, radyan bölü saniye</translation>
    </message>
    <message>
        <source>Barometric pressure in hectopascals</source>
        <translation>Hektopaskal cinsinden barometrik basınç</translation>
    </message>
    <message>
        <source>Serial Error</source>
        <translation>Seri Port Hatası</translation>
    </message>
    <message>
        <source>The serial port failed:
%1</source>
        <translation>Seri port hatası:
%1</translation>
    </message>
    <message>
        <source>This user may not open the port: join the group dialout or install the program&apos;s udev rule, then log in again.</source>
        <translation>Bu kullanıcının portu açma izni yok: dialout grubuna katılın ya da programın udev kuralını kurun, ardından oturumu yeniden açın.</translation>
    </message>
    <message>
        <source>The port is in use by another program.</source>
        <translation>Port başka bir program tarafından kullanılıyor.</translation>
    </message>
    <message>
        <source>The port is gone: plug the device in, then scan again.</source>
        <translation>Port artık yok: cihazı takın, ardından yeniden tarayın.</translation>
    </message>
    <message>
        <source>The device may be unplugged: plug it in, choose Disconnect, then connect again.</source>
        <translation>Cihaz çıkarılmış olabilir: cihazı takın, Bağlantıyı Kes komutunu seçin, ardından yeniden bağlanın.</translation>
    </message>
</context>
<context>
    <name>OrbitGLWidget</name>
    <message>
        <source>Orbit: drag with the left mouse button, or arrow keys
Pan: drag with the right mouse button
Zoom: mouse wheel, or + and − keys
First view: Home key</source>
        <translation>Döndürme: farenin sol düğmesiyle sürükleyin ya da ok tuşları
Kaydırma: farenin sağ düğmesiyle sürükleyin
Yakınlaştırma: fare tekerleği ya da + ve − tuşları
İlk görünüm: Home tuşu</translation>
    </message>
</context>
<context>
    <name>PoseGLWidget</name>
    <message>
        <source>Roll=%1°   Pitch=%2°   Yaw=%3°</source>
        <translation>Yalpa=%1°   Yunuslama=%2°   Sapma=%3°</translation>
    </message>
</context>
<context>
    <name>RpyPlotter</name>
    <message>
        <source>Roll</source>
        <translation>Yalpa</translation>
    </message>
    <message>
        <source>Pitch</source>
        <translation>Yunuslama</translation>
    </message>
    <message>
        <source>Yaw</source>
        <translation>Sapma</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>Settings</source>
        <translation>Ayarlar</translation>
    </message>
    <message>
        <source>Serial Port Settings</source>
        <translation>Seri Port Ayarları</translation>
    </message>
    <message>
        <source>Baud Rate</source>
        <translation>Baud Hızı</translation>
    </message>
    <message>
        <source>115200</source>
        <translation>115200</translation>
    </message>
    <message>
        <source>230400</source>
        <translation>230400</translation>
    </message>
    <message>
        <source>460800</source>
        <translation>460800</translation>
    </message>
    <message>
        <source>921600</source>
        <translation>921600</translation>
    </message>
    <message>
        <source>1000000</source>
        <translation>1000000</translation>
    </message>
    <message>
        <source>Data Bits</source>
        <translation>Veri Bitleri</translation>
    </message>
    <message>
        <source>8</source>
        <translation>8</translation>
    </message>
    <message>
        <source>7</source>
        <translation>7</translation>
    </message>
    <message>
        <source>6</source>
        <translation>6</translation>
    </message>
    <message>
        <source>5</source>
        <translation>5</translation>
    </message>
    <message>
        <source>Parity</source>
        <translation>Eşlik</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Yok</translation>
    </message>
    <message>
        <source>Even</source>
        <translation>Çift</translation>
    </message>
    <message>
        <source>Odd</source>
        <translation>Tek</translation>
    </message>
    <message>
        <source>Space</source>
        <translation>Boşluk</translation>
    </message>
    <message>
        <source>Mark</source>
        <translation>İşaret</translation>
    </message>
    <message>
        <source>Stop Bits</source>
        <translation>Dur Bitleri</translation>
    </message>
    <message>
        <source>1</source>
        <translation>1</translation>
    </message>
    <message>
        <source>1.5</source>
        <translation>1.5</translation>
    </message>
    <message>
        <source>2</source>
        <translation>2</translation>
    </message>
    <message>
        <source>Outputs</source>
        <translation>Çıkışlar</translation>
    </message>
    <message>
        <source>Preset:</source>
        <translation>Ön Ayar:</translation>
    </message>
    <message>
        <source>Custom</source>
        <translation>Özel</translation>
    </message>
    <message>
        <source>Quaternion only</source>
        <translation>Yalnızca kuaterniyon</translation>
    </message>
    <message>
        <source>Euler angles only</source>
        <translation>Yalnızca Euler açıları</translation>
    </message>
    <message>
        <source>Quaternion + inertial data</source>
        <translation>Kuaterniyon + ataletsel veriler</translation>
    </message>
    <message>
        <source>Quaternion + inertial data + barometer</source>
        <translation>Kuaterniyon + ataletsel veriler + barometre</translation>
    </message>
    <message>
        <source>Full output</source>
        <translation>Tüm çıkışlar</translation>
    </message>
    <message>
        <source>Quaternion (x, y, z, w)</source>
        <translation>Kuaterniyon (x, y, z, w)</translation>
    </message>
    <message>
        <source>Euler Angles (roll, pitch, yaw)</source>
        <translation>Euler Açıları (yalpa, yunuslama, sapma)</translation>
    </message>
    <message>
        <source>Pressure</source>
        <translation>Basınç</translation>
    </message>
    <message>
        <source>Linear Accelerations</source>
        <translation>Doğrusal İvmeler</translation>
    </message>
    <message>
        <source>Angular Rates</source>
        <translation>Açısal Hızlar</translation>
    </message>
    <message>
        <source>Calibrated Magnetic Field</source>
        <translation>Kalibre Edilmiş Manyetik Alan</translation>
    </message>
    <message>
        <source>Covariance</source>
        <translation>Kovaryans</translation>
    </message>
    <message>
        <source>Sync Output</source>
        <translation>Senkronizasyon Çıkışı</translation>
    </message>
    <message>
        <source>Data Rate</source>
        <translation>Veri Hızı</translation>
    </message>
    <message>
        <source>50 Hz</source>
        <translation>50 Hz</translation>
    </message>
    <message>
        <source>100 Hz</source>
        <translation>100 Hz</translation>
    </message>
    <message>
        <source>200 Hz</source>
        <translation>200 Hz</translation>
    </message>
    <message>
        <source>500 Hz</source>
        <translation>500 Hz</translation>
    </message>
    <message>
        <source>1000 Hz</source>
        <translation>1000 Hz</translation>
    </message>
    <message>
        <source>Save to Device</source>
        <translation>Cihaza Kaydet</translation>
    </message>
    <message>
        <source>Revert to Factory Settings</source>
        <translation>Fabrika Ayarlarına Dön</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>İptal</translation>
    </message>
    <message>
        <source>Invalid Data Rate</source>
        <translation>Geçersiz Veri Hızı</translation>
    </message>
    <message>
        <source>Please select a valid data rate.</source>
        <translation>Lütfen geçerli bir veri hızı seçin.</translation>
    </message>
    <message>
        <source>Invalid Baud Rate</source>
        <translation>Geçersiz Baud Hızı</translation>
    </message>
    <message>
        <source>Please select a valid baud rate.</source>
        <translation>Lütfen geçerli bir baud hızı seçin.</translation>
    </message>
    <message>
        <source>Serial Error</source>
        <translation>Seri Port Hatası</translation>
    </message>
    <message>
        <source>Serial set_option failed:
%1</source>
        <translation>Seri port ayarlanamadı (set_option):
%1</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Hata</translation>
    </message>
    <message>
        <source>Failed to set Data Rate.</source>
        <translation>Veri hızı ayarlanamadı.</translation>
    </message>
    <message>
        <source>Failed to set Outputs.</source>
        <translation>Çıkışlar ayarlanamadı.</translation>
    </message>
    <message>
        <source>Failed to save settings to device.</source>
        <translation>Ayarlar cihaza kaydedilemedi.</translation>
    </message>
    <message>
        <source>Failed to change Baud Rate.</source>
        <translation>Baud hızı değiştirilemedi.</translation>
    </message>
    <message>
        <source>Device Error</source>
        <translation>Cihaz Hatası</translation>
    </message>
    <message>
        <source>Factory reset failed.</source>
        <translation>Fabrika ayarlarına dönülemedi.</translation>
    </message>
    <message>
        <source>Device Factory Settings</source>
        <translation>Cihazın Fabrika Ayarları</translation>
    </message>
    <message>
        <source>Reverting to factory settings is successful.
Please restart the device in order for the settings to take effect.</source>
        <translation>Fabrika ayarlarına dönüldü.
Ayarların geçerli olması için lütfen cihazı yeniden başlatın.</translation>
    </message>
</context>
</TS>
