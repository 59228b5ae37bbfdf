// The properties of machines in words.

interface Property {
  category: string;
  name: string;
  title: string;
  unit: string;
  /** Whether its values are read in their own order, not by how frequent they are. */
  isOrdered?: true;
}

/** In the order in which they are shown. A property that is not here is shown under its own name. */
const properties: Property[] = [
  { category: 'OS', name: 'Caption', title: 'Windows edition', unit: 'name as Windows gives it' },
  { category: 'OS', name: 'Version', title: 'Windows build', unit: 'version number' },
  {
    category: 'OS',
    name: 'OSArchitecture',
    title: 'Windows architecture',
    unit: 'bits of the system',
  },
  {
    category: 'OS',
    name: 'Locale',
    title: 'Language and region',
    unit: 'with the number that Windows uses',
  },
  { category: 'Processor', name: 'Name', title: 'Processor', unit: 'name of the first one' },
  {
    category: 'Processor',
    name: 'NumberOfCores',
    title: 'Processor cores',
    unit: 'of the first processor',
    isOrdered: true,
  },
  {
    category: 'System',
    name: 'TotalPhysicalMemory',
    title: 'Memory',
    unit: 'classes, named by their lower end',
    isOrdered: true,
  },
  {
    category: 'Video Card',
    name: 'Name',
    title: 'Graphics adapter',
    unit: 'name of the first one',
  },
  {
    category: 'Video Card',
    name: 'AdapterRAM',
    title: 'Graphics memory',
    unit: 'classes, named by their lower end',
    isOrdered: true,
  },
  {
    category: 'Video Card',
    name: 'CurrentHorizontalResolution',
    title: 'Screen width',
    unit: 'pixels',
    isOrdered: true,
  },
  {
    category: 'Video Card',
    name: 'CurrentVerticalResolution',
    title: 'Screen height',
    unit: 'pixels',
    isOrdered: true,
  },
  {
    category: 'Monitor',
    name: 'Number',
    title: 'Monitors',
    unit: 'working monitors',
    isOrdered: true,
  },
  {
    category: 'HardDisk',
    name: 'Size',
    title: 'Disks',
    unit: 'all drives, in classes named by their lower end',
    isOrdered: true,
  },
];

export interface PropertyText {
  title: string;
  unit: string;
  /** Where it comes in a list of properties. */
  place: number;
  isOrdered: boolean;
}

export function textOfProperty(category: string, name: string): PropertyText {
  const place = properties.findIndex((entry) => entry.category === category && entry.name === name);
  const known = properties[place];
  if (!known)
    return {
      title: `${category}: ${name}`,
      unit: 'value as it was sent',
      place: properties.length,
      isOrdered: false,
    };
  return { title: known.title, unit: known.unit, place, isOrdered: known.isOrdered === true };
}

const sizeUnits = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB', 'EiB'];

/** The number in a value, with its unit of bytes if it has one; null if there is none. */
export function numberOfValue(value: string): number | null {
  const [, digits = '', unit = 'B'] = /^(\d+)(?: ([KMGTPE]?i?B))?$/.exec(value) ?? [];
  if (!digits) return null;
  return Number(digits) * 1024 ** sizeUnits.indexOf(unit);
}

/** Tags of the languages and regions that are frequent, by the number that Windows has for them. */
const languageTags: Record<string, string> = {
  '0401': 'ar-SA',
  '0402': 'bg-BG',
  '0403': 'ca-ES',
  '0404': 'zh-TW',
  '0405': 'cs-CZ',
  '0406': 'da-DK',
  '0407': 'de-DE',
  '0408': 'el-GR',
  '0409': 'en-US',
  '040b': 'fi-FI',
  '040c': 'fr-FR',
  '040d': 'he-IL',
  '040e': 'hu-HU',
  '0410': 'it-IT',
  '0411': 'ja-JP',
  '0412': 'ko-KR',
  '0413': 'nl-NL',
  '0414': 'nb-NO',
  '0415': 'pl-PL',
  '0416': 'pt-BR',
  '0418': 'ro-RO',
  '0419': 'ru-RU',
  '041a': 'hr-HR',
  '041b': 'sk-SK',
  '041d': 'sv-SE',
  '041e': 'th-TH',
  '041f': 'tr-TR',
  '0421': 'id-ID',
  '0422': 'uk-UA',
  '0424': 'sl-SI',
  '0425': 'et-EE',
  '0426': 'lv-LV',
  '0427': 'lt-LT',
  '042a': 'vi-VN',
  '0804': 'zh-CN',
  '0807': 'de-CH',
  '0809': 'en-GB',
  '080a': 'es-MX',
  '080c': 'fr-BE',
  '0810': 'it-CH',
  '0813': 'nl-BE',
  '0816': 'pt-PT',
  '0c04': 'zh-HK',
  '0c07': 'de-AT',
  '0c09': 'en-AU',
  '0c0a': 'es-ES',
  '0c0c': 'fr-CA',
  '1009': 'en-CA',
  '100c': 'fr-CH',
  '1409': 'en-NZ',
};

/** A property's value as it is shown: languages by name, everything else as it is. */
export function textOfValue(category: string, name: string, value: string): string {
  if (category !== 'OS' || name !== 'Locale') return value;
  const tag = languageTags[value.toLowerCase()];
  const language =
    tag && new Intl.DisplayNames(['en'], { type: 'language', languageDisplay: 'standard' }).of(tag);
  return language ? `${language}, ${value}` : value;
}
